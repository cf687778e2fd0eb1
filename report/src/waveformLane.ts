import type uPlot from "uplot";
import { takeShorts } from "./data";
import { themeColour, type TableData } from "./dom";
import { digitsFor, numberText, timeText } from "./format";
import { tableTimes, type Lane, type LaneContext } from "./lane";
import type { LaneInfo } from "./lanes";
import { Pyramid, sliceFor } from "./levels";
import { drawMarks } from "./marks";
import { makePlot } from "./plot";

const fullScale = 32767;
const decibels = (value: number): string => (value > 0 ? `${numberText(20 * Math.log10(value))} dBFS` : "silence");

/** The outline of the samples with the root mean square in it. */
export class WaveformLane implements Lane {
    readonly plot: uPlot;
    private readonly least = new Pyramid(takeShorts("waveform:least"), Math.min);
    private readonly greatest = new Pyramid(takeShorts("waveform:greatest"), Math.max);
    private readonly level = new Pyramid(takeShorts("waveform:rms"), (a, b) => Math.sqrt((a * a + b * b) / 2));

    constructor(
        readonly info: LaneInfo,
        private readonly stepSeconds: number,
        context: LaneContext,
        target: HTMLElement,
    ) {
        const outline = (name: string): uPlot.Series => ({ stroke: () => themeColour(name), width: 1, points: { show: false } });
        this.plot = makePlot(target, {
            height: info.height ?? 120,
            range: [-1.02, 1.02],
            ticks: () => [-1, -0.5, 0, 0.5, 1],
            tickText: (value) => numberText(value),
            series: [outline("wave"), outline("wave"), outline("level"), outline("level")],
            bands: [
                { series: [1, 2], fill: () => themeColour("wave") },
                { series: [3, 4], fill: () => themeColour("level") },
            ],
            drawAbove: (plot) => drawMarks(plot, context.marks),
        });
    }

    prepare(begin: number, end: number): void {
        const slice = sliceFor(this.least.length, this.stepSeconds, begin, end, this.plot.bbox.width);
        const step = this.stepSeconds * 2 ** slice.level;
        const part = (pyramid: Pyramid, sign: number): number[] =>
            Array.from(pyramid.floor(slice.level).subarray(slice.first, slice.end), (value) => (sign * value) / fullScale);
        const times = Array.from({ length: slice.end - slice.first }, (_, i) => (slice.first + i + 0.5) * step);
        this.plot.setData([times, part(this.greatest, 1), part(this.least, 1), part(this.level, 1), part(this.level, -1)], false);
    }

    private peakAt(seconds: number): [number, number] {
        const i = Math.min(Math.floor(seconds / this.stepSeconds), this.least.length - 1);
        const peak = Math.max(this.greatest.floor(0)[i] ?? 0, -(this.least.floor(0)[i] ?? 0));
        return [peak / fullScale, (this.level.floor(0)[i] ?? 0) / fullScale];
    }

    valueAt(seconds: number): string {
        const [peak, level] = this.peakAt(seconds);
        return `peak ${decibels(peak)}, level ${decibels(level)}`;
    }

    async table(begin: number, end: number): Promise<TableData> {
        const rows = tableTimes(begin, end).map((time) => {
            const [peak, level] = this.peakAt(time);
            return [timeText(time, digitsFor(end - begin) + 1), decibels(peak), decibels(level)];
        });
        return { caption: "Peak and level", head: ["Time", "Peak", "Root mean square"], rows };
    }

    empty(): string {
        const isSilent = [this.least, this.greatest].every((list) => list.floor(0).every((value) => value === 0));
        return isSilent ? (this.info.ifEmpty ?? "") : "";
    }

    summary(): string {
        const greatest = this.greatest.floor(0).reduce((a, b) => Math.max(a, b), 0);
        const least = this.least.floor(0).reduce((a, b) => Math.min(a, b), 0);
        return `Greatest peak ${decibels(Math.max(greatest, -least) / fullScale)}.`;
    }
}
