/**
 * How far the clock of the audio context is ahead of the song's. Single readings of the player's
 * position jitter by some milliseconds; the median of the last ones does not.
 */
export class ClockOffset {
    private readings: number[] = [];

    constructor(private readonly most = 31) {}

    add(contextSeconds: number, songSeconds: number): void {
        this.readings.push(contextSeconds - songSeconds);
        if (this.readings.length > this.most) {
            this.readings.shift();
        }
    }

    /** Forgets everything, after a jump. */
    reset(): void {
        this.readings = [];
    }

    /** Empty until there are a few readings. */
    get seconds(): number | null {
        if (this.readings.length < 5) {
            return null;
        }
        const sorted = [...this.readings].sort((a, b) => a - b);
        return sorted[sorted.length >> 1] as number;
    }
}
