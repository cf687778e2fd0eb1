import type uPlot from "uplot";
import { peekFloats, takeFloats, type SongPage } from "./data";
import { themeColour, type TableData } from "./dom";
import { digitsFor, numberText, timeText } from "./format";
import { tableTimes, type Lane, type LaneContext } from "./lane";
import type { LaneInfo } from "./lanes";
import { firstFrom, Pyramid, sliceFor } from "./levels";
import { drawMarks, type Mark } from "./marks";
import { makePlot } from "./plot";

/** A curve: its value at moments that are equally far apart, or at those of a mark. */
interface Curve {
    label: string;
    values: Float32Array;
    hopSeconds: number;
    times: Float64Array | null;
    mean: Pyramid;
}

const usable = (value: number | undefined): value is number => value !== undefined && Number.isFinite(value) && value !== 0;

/** The range that holds nearly all values of each list, with a little room; null without values. */
export function rangeOf(lists: Float32Array[], lowest = Number.NEGATIVE_INFINITY): [number, number] | null {
    const most = 10000; // values of a list are enough to tell
    const some = (list: Float32Array): number[] => {
        const step = Math.max(Math.ceil(list.length / most), 1);
        return Array.from({ length: Math.ceil(list.length / step) }, (_, i) => list[i * step] as number);
    };
    // A list of a few values counts as much as one of many.
    const all = lists.map((list) => some(list).filter(usable).sort((a, b) => a - b)).filter((list) => list.length > 0);
    if (all.length === 0) {
        return null;
    }
    const ends = all.map((list) => list[Math.ceil((list.length - 1) * 0.995)] as number);
    const begins = all.map((list) => list[Math.floor(list.length * 0.02)] as number);
    const high = Math.max(...ends, lowest + 1);
    const low = Math.max(Math.min(...begins), lowest);
    const room = Math.max((high - low) * 0.1, 1);
    return [Math.floor(low - room), Math.ceil(high + room)];
}

const colourOf = (curve: number): string => (curve === 0 ? "curve" : "curve2");

/** The values of all curves of a lane. */
export const curveLists = (info: LaneInfo): Float32Array[] => (info.curves ?? []).map(({ id }) => peekFloats(`curve:${info.id}:${id}`));

export class CurvesLane implements Lane {
    readonly plot: uPlot;
    private readonly curves: Curve[];
    private readonly range: [number, number] | null;

    constructor(
        readonly info: LaneInfo,
        page: SongPage,
        context: LaneContext,
        target: HTMLElement,
        range: [number, number] | null = rangeOf(curveLists(info), info.lowest),
    ) {
        this.range = range;
        this.curves = (info.curves ?? []).map(({ id, label }) => this.take(id, label, page, context.marks));
        this.plot = makePlot(target, {
            height: info.height ?? 120,
            range: range ?? [0, 1],
            tickText: (value) => (range ? numberText(value, 0) : ""),
            series: this.curves.map((_, i) => ({
                stroke: () => themeColour(colourOf(i)),
                width: 1.5,
                spanGaps: false,
                points: { show: false },
            })),
            drawAbove: (plot) => drawMarks(plot, context.marks),
        });
    }

    private take(id: string, label: string, page: SongPage, marks: Mark[]): Curve {
        const name = `${this.info.id}:${id}`;
        const { hopSeconds = 0, at } = page.curves[name] ?? {};
        const values = takeFloats(`curve:${name}`);
        const times = at ? (marks.find((mark) => `marks:${mark.id}` === at)?.times ?? null) : null;
        // Neighbours of which one is not usable give the other one.
        const mean = new Pyramid(values, (a, b) => (usable(a) && usable(b) ? (a + b) / 2 : usable(a) ? a : b));
        return { label, values, hopSeconds, times, mean };
    }

    prepare(begin: number, end: number): void {
        const pixels = this.plot.bbox.width;
        const points = this.curves.map((curve) => this.points(curve, begin, end, pixels));
        // The plot wants one list of times for all its curves.
        const times = Float64Array.from(points.flatMap(([at]) => at)).sort();
        const all = Array.from(times).filter((time, i) => i === 0 || time !== times[i - 1]);
        const columns = points.map(([at, values]) => {
            const known = new Map(at.map((time, i) => [time, values[i] as number | null]));
            return all.map((time) => known.get(time));
        });
        this.plot.setData([all, ...columns] as uPlot.AlignedData, false);
    }

    private points(curve: Curve, begin: number, end: number, pixels: number): [number[], (number | null)[]] {
        if (curve.times) {
            const first = Math.max(firstFrom(curve.times, begin) - 1, 0);
            const last = Math.min(firstFrom(curve.times, end) + 1, curve.times.length);
            const step = Math.max(Math.floor((last - first) / pixels), 1);
            const at = Array.from(curve.times.subarray(first, last)).filter((_, i) => i % step === 0);
            const values = Array.from(curve.values.subarray(first, last)).filter((_, i) => i % step === 0);
            return [at, values.map((value) => (usable(value) ? value : null))];
        }
        const slice = sliceFor(curve.values.length, curve.hopSeconds, begin, end, pixels);
        const step = curve.hopSeconds * 2 ** slice.level;
        const values = Array.from(curve.mean.floor(slice.level).subarray(slice.first, slice.end));
        return [values.map((_, i) => (slice.first + i + 1) * step), values.map((value) => (usable(value) ? value : null))];
    }

    private valuesAt(seconds: number): (number | null)[] {
        return this.curves.map((curve) => {
            const i = curve.times ? Math.min(firstFrom(curve.times, seconds), curve.times.length - 1) : Math.floor(seconds / curve.hopSeconds);
            const value = curve.values[i];
            return usable(value) ? value : null;
        });
    }

    private text(value: number | null): string {
        return value === null ? "none" : `${numberText(value)} ${this.info.unit}`;
    }

    valueAt(seconds: number): string {
        const texts = this.valuesAt(seconds).map((value, i) => (this.curves.length > 1 ? `${this.curves[i]?.label} ${this.text(value)}` : this.text(value)));
        return texts.join(", ");
    }

    async table(begin: number, end: number): Promise<TableData> {
        const rows = tableTimes(begin, end).map((time) => [
            timeText(time, digitsFor(end - begin) + 1),
            ...this.valuesAt(time).map((value) => this.text(value)),
        ]);
        return { caption: this.info.label, head: ["Time", ...this.curves.map((curve) => curve.label)], rows };
    }

    empty(): string {
        // Without beats the curves beside theirs mean nothing.
        const has = (curve: Curve): boolean => curve.values.some(usable);
        const isEmpty = !this.curves.some(has) || this.curves.some((curve) => curve.times && !has(curve));
        return isEmpty ? (this.info.ifEmpty ?? "") : "";
    }

    get legend(): { label: string; colour: string }[] {
        return this.curves.length > 1 ? this.curves.map(({ label }, i) => ({ label, colour: colourOf(i) })) : [];
    }

    summary(): string {
        if (!this.range) {
            return "There are no values.";
        }
        const [least, greatest] = this.range;
        return `The axis runs from ${numberText(least, 0)} to ${numberText(greatest, 0)} ${this.info.unit}.`;
    }
}
