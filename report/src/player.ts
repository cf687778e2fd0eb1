import { ClickScheduler, clickTimes } from "./clicks";
import { ClockOffset } from "./clock";
import { takeBytes, type SongPage } from "./data";
import { firstFrom } from "./levels";
import type { Mark } from "./marks";
import type { Timeline } from "./timeline";

const ahead = 0.25; // seconds of clicks that are scheduled

/** What plays the song, with clicks on what is marked. */
export class Player {
    readonly audio = document.createElement("audio");
    clicksOn = false;
    shiftSeconds = 0;
    private context: AudioContext | null = null;
    private scheduler: ClickScheduler | null = null;
    private readonly offset = new ClockOffset();
    private scheduledTo = 0;
    private readonly times = new Map<string, number[]>(); // of the clicks of a mark, until a change
    private loop: [number, number] | null = null;

    constructor(
        source: NonNullable<SongPage["audio"]>,
        private readonly marks: Mark[],
        private readonly timeline: Timeline,
    ) {
        const parts = Array.from({ length: source.parts }, (_, i) => takeBytes(`audio:${i}`));
        this.audio.src = URL.createObjectURL(new Blob(parts as BlobPart[], { type: source.type }));
        this.audio.controls = true;
        this.audio.preload = "metadata";
        this.audio.setAttribute("aria-label", "Song");
        for (const name of ["seeking", "pause", "play", "ratechange"]) {
            this.audio.addEventListener(name, () => this.restart());
        }
        this.audio.addEventListener("play", () => this.tick());
        this.audio.addEventListener("seeked", () => {
            // A jump of this page's own has moved the cursor already; what is shown may have moved on since.
            const isOwn = Math.abs(this.audio.currentTime - this.timeline.cursor) < 0.01;
            this.timeline.moveCursor(this.audio.currentTime, !isOwn);
        });
    }

    get isPlaying(): boolean {
        return !this.audio.paused && !this.audio.ended;
    }

    async toggle(): Promise<void> {
        if (this.isPlaying) {
            this.audio.pause();
        } else {
            await this.audio.play();
        }
    }

    seek(seconds: number): void {
        this.audio.currentTime = seconds;
        this.timeline.moveCursor(seconds);
    }

    /** Switches clicks. The context may only begin to run upon a person's deed, which this is. */
    setClicks(isOn: boolean): void {
        this.clicksOn = isOn;
        if (isOn && !this.context) {
            this.context = new AudioContext();
            this.scheduler = new ClickScheduler(this.context);
        }
        void this.context?.resume();
        this.restart();
    }

    /** Begins the schedule anew, after a change of what clicks or when. */
    restart(): void {
        this.scheduler?.stop();
        this.times.clear();
        this.offset.reset();
        this.scheduledTo = this.audio.currentTime;
    }

    /** Plays a stretch again and again; null ends it. */
    setLoop(stretch: [number, number] | null): void {
        this.loop = stretch;
    }

    get looped(): [number, number] | null {
        return this.loop;
    }

    private tick(): void {
        if (!this.isPlaying) {
            return;
        }
        if (this.loop && this.audio.currentTime >= this.loop[1]) {
            this.audio.currentTime = this.loop[0];
        }
        this.timeline.moveCursor(this.audio.currentTime, true);
        if (this.clicksOn) {
            this.scheduleClicks();
        }
        requestAnimationFrame(() => this.tick());
    }

    /** The moment of the context that is heard now. */
    private heardSeconds(context: AudioContext): number {
        const stamp = context.getOutputTimestamp?.();
        return stamp?.contextTime !== undefined && stamp.performanceTime
            ? stamp.contextTime + (performance.now() - stamp.performanceTime) / 1000
            : context.currentTime - (context.outputLatency || context.baseLatency || 0);
    }

    private scheduleClicks(): void {
        if (!this.context || !this.scheduler || this.audio.seeking) {
            return;
        }
        this.offset.add(this.heardSeconds(this.context), this.audio.currentTime);
        const offset = this.offset.seconds;
        if (offset === null) {
            return;
        }
        const end = Math.min(this.audio.currentTime + ahead, this.loop?.[1] ?? Number.POSITIVE_INFINITY);
        const begin = Math.max(this.scheduledTo, this.audio.currentTime);
        if (end <= begin) {
            return;
        }
        for (const mark of this.marks.filter((shown) => shown.shown)) {
            const times = this.times.get(mark.id) ?? clickTimes(mark, this.marks).map((time) => time + this.shiftSeconds);
            this.times.set(mark.id, times);
            const due = times.slice(firstFrom(times, begin), firstFrom(times, end));
            this.scheduler.schedule(mark, due.map((time) => time + offset));
        }
        this.scheduledTo = end;
    }
}

/** The bar around a moment, between two down beats; null where there is none. */
export function barAround(downBeats: ArrayLike<number>, seconds: number): [number, number] | null {
    const next = firstFrom(downBeats, seconds + 1e-6);
    const begin = downBeats[next - 1];
    const end = downBeats[next];
    return begin === undefined || end === undefined ? null : [begin, end];
}

/** Clicks of a stretch of the song, rendered without a loudspeaker. */
export async function renderClicks(marks: Mark[], seconds: number, rateHz: number): Promise<Float32Array> {
    const context = new OfflineAudioContext(1, Math.ceil(seconds * rateHz), rateHz);
    const scheduler = new ClickScheduler(context);
    for (const mark of marks.filter((shown) => shown.shown)) {
        scheduler.schedule(mark, clickTimes(mark, marks).filter((time) => time >= 0 && time < seconds));
    }
    return (await context.startRendering()).getChannelData(0);
}
