/** The stretch of time that all lanes show, and the moment of the cursor. */
export class Timeline {
    /** The shortest stretch in seconds. */
    static readonly shortest = 0.05;

    begin = 0;
    end: number;
    cursor = 0;
    private listeners: (() => void)[] = [];

    constructor(readonly duration: number) {
        this.end = duration;
    }

    get span(): number {
        return this.end - this.begin;
    }

    onChange(listener: () => void): void {
        this.listeners.push(listener);
    }

    /** Shows a stretch, moved and cut so that it lies within the song. */
    show(begin: number, end: number): void {
        const span = Math.min(Math.max(end - begin, Math.min(Timeline.shortest, this.duration)), this.duration);
        const middle = (begin + end) / 2;
        this.begin = Math.min(Math.max(middle - span / 2, 0), this.duration - span);
        this.end = this.begin + span;
        this.tell();
    }

    /** Shows 1 / factor of what is shown, with the moment `at` in its place. */
    zoom(factor: number, at: number): void {
        const span = Math.min(Math.max(this.span / factor, Math.min(Timeline.shortest, this.duration)), this.duration);
        const begin = at - ((at - this.begin) * span) / this.span;
        this.show(begin, begin + span);
    }

    pan(seconds: number): void {
        this.show(this.begin + seconds, this.end + seconds);
    }

    showAll(): void {
        this.show(0, this.duration);
    }

    /** Moves the cursor; with follow, what is shown moves along a screen at a time. */
    moveCursor(seconds: number, follow = false): void {
        this.cursor = Math.min(Math.max(seconds, 0), this.duration);
        const isOutside = this.cursor < this.begin || this.cursor >= this.end;
        if (follow && isOutside && this.span < this.duration) {
            this.show(this.cursor, this.cursor + this.span);
            return;
        }
        this.tell();
    }

    private tell(): void {
        for (const listener of this.listeners) {
            listener();
        }
    }
}
