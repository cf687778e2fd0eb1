import { describe, expect, it } from "vitest";
import { clickSamples, clickTimes } from "../../src/clicks";
import { ClockOffset } from "../../src/clock";
import type { Mark } from "../../src/marks";
import { marks } from "../../src/lanes";
import { barAround } from "../../src/player";

const mark = (id: string, times: number[], shown = true): Mark => {
    const info = marks.find((other) => other.id === id);
    if (!info) {
        throw new Error(id);
    }
    return { ...info, shown, times: Float64Array.from(times) };
};

describe("clicks", () => {
    it("begin with their peak and die away", () => {
        const click = { frequencyHz: 1000, seconds: 0.02, gain: 0.5 };
        const samples = clickSamples(click, 48000);
        expect(samples.length).toBe(960);
        expect(samples[0]).toBe(0.5);
        expect(Math.max(...samples.map(Math.abs))).toBe(0.5);
        expect(Math.max(...samples.slice(-48).map(Math.abs))).toBeLessThan(0.005);
    });
    it("of a down beat replace that of the beat", () => {
        const beats = mark("beats", [0, 0.5, 1, 1.5]);
        expect(clickTimes(beats, [beats, mark("downBeats", [0, 1])])).toEqual([0.5, 1.5]);
        expect(clickTimes(beats, [beats, mark("downBeats", [0, 1], false)])).toEqual([0, 0.5, 1, 1.5]);
    });
});

describe("barAround", () => {
    it("lies between two down beats", () => {
        expect(barAround([1, 3, 5], 3.5)).toEqual([3, 5]);
        expect(barAround([1, 3, 5], 3)).toEqual([3, 5]);
        expect(barAround([1, 3, 5], 0.5)).toBeNull();
        expect(barAround([1, 3, 5], 6)).toBeNull();
    });
});

describe("ClockOffset", () => {
    it("is the median of its last readings, once there are a few", () => {
        const offset = new ClockOffset(5);
        [1, 1, 1, 9].forEach((value) => offset.add(value, 0));
        expect(offset.seconds).toBeNull();
        offset.add(1.2, 0);
        expect(offset.seconds).toBe(1);
        offset.reset();
        expect(offset.seconds).toBeNull();
    });
});
