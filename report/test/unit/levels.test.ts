import { describe, expect, it } from "vitest";
import { firstFrom, levelFor, Pyramid, sliceFor } from "../../src/levels";

describe("levels", () => {
    it("takes the coarsest level with a column for every pixel", () => {
        const levels = [1, 4, 16].map((columnSeconds) => ({ columns: 1, columnSeconds }));
        expect([0.1, 1, 3.9, 4, 100].map((seconds) => levelFor(levels, seconds))).toEqual([0, 0, 0, 1, 2]);
    });
    it("finds the first entry that is not below", () => {
        expect([0, 1, 1.5, 4].map((value) => firstFrom([1, 2, 3], value))).toEqual([0, 0, 1, 3]);
    });
    it("joins neighbours, and keeps a last one that has none", () => {
        const pyramid = new Pyramid([1, 5, 2, 3, 4], Math.max);
        expect(Array.from(pyramid.floor(1))).toEqual([5, 3, 4]);
        expect(Array.from(pyramid.floor(3))).toEqual([5]);
    });
    it("draws one to two entries for every pixel, and all of the stretch", () => {
        for (const [begin, end] of [[0, 1000], [10, 20], [3, 3.1]] as const) {
            const slice = sliceFor(100000, 0.01, begin, end, 500);
            const step = 0.01 * 2 ** slice.level;
            expect(slice.first * step).toBeLessThanOrEqual(begin);
            expect(slice.end * step).toBeGreaterThanOrEqual(end);
            expect(slice.end - slice.first).toBeLessThanOrEqual(2 * 500 + 4);
        }
    });
});
