import type { Level } from "./data";

/** The coarsest level of a picture that still has a column for every pixel; else the finest. */
export function levelFor(levels: Level[], secondsPerPixel: number): number {
    let chosen = 0;
    levels.forEach((level, i) => {
        chosen = level.columnSeconds <= secondsPerPixel ? i : chosen;
    });
    return chosen;
}

/** The first entry of an ascending list that is not below a value. */
export function firstFrom(sorted: ArrayLike<number>, value: number): number {
    let low = 0;
    let high = sorted.length;
    while (low < high) {
        const middle = (low + high) >> 1;
        if ((sorted[middle] ?? 0) < value) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    return low;
}

/** Joins neighbours of a list: the value of each group is what `join` makes of it, a few at a time. */
export class Pyramid {
    private readonly floors: Float32Array[];

    constructor(
        values: ArrayLike<number>,
        private readonly join: (a: number, b: number) => number,
    ) {
        this.floors = [Float32Array.from(values)];
    }

    get length(): number {
        return this.floors[0]?.length ?? 0;
    }

    /** The list with 2 to the power of `level` entries in each. */
    floor(level: number): Float32Array {
        for (let made = this.floors.length; made <= level; made++) {
            const below = this.floors[made - 1] as Float32Array;
            const above = new Float32Array(Math.ceil(below.length / 2));
            for (let i = 0; i < above.length; i++) {
                const one = below[2 * i] as number;
                above[i] = 2 * i + 1 < below.length ? this.join(one, below[2 * i + 1] as number) : one;
            }
            this.floors.push(above);
        }
        return this.floors[level] as Float32Array;
    }
}

export interface Slice {
    level: number;
    first: number;
    end: number;
}

/** Which entries of a pyramid to draw: about one for every pixel, and one more on each side. */
export function sliceFor(length: number, stepSeconds: number, begin: number, end: number, pixels: number): Slice {
    const perPixel = (end - begin) / stepSeconds / Math.max(pixels, 1);
    const level = Math.max(0, Math.floor(Math.log2(Math.max(perPixel, 1))));
    const step = stepSeconds * 2 ** level;
    const entries = Math.ceil(length / 2 ** level);
    const first = Math.min(Math.max(Math.floor(begin / step) - 1, 0), entries);
    return { level, first, end: Math.max(Math.min(Math.ceil(end / step) + 2, entries), first) };
}
