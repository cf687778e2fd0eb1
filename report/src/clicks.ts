import type { Click } from "./lanes";
import { firstFrom } from "./levels";
import type { Mark } from "./marks";

/** The samples of a click: a decaying cosine, which begins with its peak. `qel clicks` has the same. */
export function clickSamples(click: Click, rateHz: number): Float32Array {
    const samples = new Float32Array(Math.round(click.seconds * rateHz));
    for (let i = 0; i < samples.length; i++) {
        const t = i / rateHz;
        samples[i] = click.gain * Math.cos(2 * Math.PI * click.frequencyHz * t) * Math.exp((-5 * t) / click.seconds);
    }
    return samples;
}

/** The times at which a mark clicks: a beat that is a down beat clicks as that alone. */
export function clickTimes(mark: Mark, marks: Mark[]): number[] {
    const times = Array.from(mark.times);
    const downBeats = marks.find((other) => other.id === "downBeats");
    if (mark.id !== "beats" || !downBeats?.shown) {
        return times;
    }
    const nearby = 0.02; // seconds
    return times.filter((time) => {
        const i = firstFrom(downBeats.times, time - nearby);
        return !((downBeats.times[i] ?? Number.POSITIVE_INFINITY) < time + nearby);
    });
}

/** Puts clicks into an audio context, on its own clock. */
export class ClickScheduler {
    private readonly buffers = new Map<string, AudioBuffer>();
    private readonly playing = new Set<AudioBufferSourceNode>();

    constructor(private readonly context: BaseAudioContext) {}

    /** Lets a mark click at moments of the context. A click that should have begun is left out. */
    schedule(mark: Mark, contextSeconds: number[]): void {
        for (const when of contextSeconds) {
            if (when < this.context.currentTime) {
                continue;
            }
            const source = this.context.createBufferSource();
            source.buffer = this.bufferOf(mark);
            source.connect(this.context.destination);
            source.onended = () => this.playing.delete(source);
            source.start(when);
            this.playing.add(source);
        }
    }

    /** Silences what was scheduled. */
    stop(): void {
        for (const source of this.playing) {
            source.stop();
        }
        this.playing.clear();
    }

    private bufferOf(mark: Mark): AudioBuffer {
        const known = this.buffers.get(mark.id);
        if (known) {
            return known;
        }
        const samples = clickSamples(mark.click, this.context.sampleRate);
        const buffer = this.context.createBuffer(1, Math.max(samples.length, 1), this.context.sampleRate);
        buffer.getChannelData(0).set(samples);
        this.buffers.set(mark.id, buffer);
        return buffer;
    }
}
