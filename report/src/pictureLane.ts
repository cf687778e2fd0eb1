import type uPlot from "uplot";
import { axisOf, type RowAxis } from "./axis";
import type { TableData } from "./dom";
import { digitsFor, numberText, timeText } from "./format";
import { tableTimes, type Lane, type LaneContext } from "./lane";
import type { LaneInfo } from "./lanes";
import { drawMarks } from "./marks";
import type { PictureSource } from "./picture";
import { inside, makePlot } from "./plot";

/** A picture whose rows are frequencies or notes, with another one over it on request. */
export class PictureLane implements Lane {
    readonly plot: uPlot;
    readonly axis: RowAxis;
    overlayShown = false;

    constructor(
        readonly info: LaneInfo,
        readonly picture: PictureSource,
        readonly overlay: { info: LaneInfo; picture: PictureSource } | null,
        sampleRateHz: number,
        context: LaneContext,
        target: HTMLElement,
    ) {
        this.axis = axisOf(info, sampleRateHz);
        const ticks = this.axis.ticks;
        this.plot = makePlot(target, {
            height: info.height ?? 200,
            range: [0, picture.info.rows],
            ticks: () => ticks.map((tick) => tick.row),
            tickText: (value) => ticks.find((tick) => tick.row === value)?.label ?? "",
            series: [{ show: false }],
            drawBelow: (plot) => this.draw(plot),
            drawAbove: (plot) => drawMarks(plot, context.marks),
        });
    }

    private draw(plot: uPlot): void {
        const begin = plot.scales.x?.min ?? 0;
        const end = plot.scales.x?.max ?? 1;
        const x = (seconds: number): number => plot.valToPos(seconds, "x", true);
        const { top, height } = plot.bbox;
        inside(plot, (context) => {
            context.globalAlpha = this.overlay && this.overlayShown ? 0.35 : 1;
            this.picture.draw(context, begin, end, x, top, height);
            context.globalAlpha = 1;
            if (this.overlay && this.overlayShown) {
                this.overlay.picture.draw(context, begin, end, x, top, height);
            }
        });
    }

    prepare(): void {}

    private valueText(value: number | null): string {
        if (value === null) {
            return "";
        }
        if (this.info.spanDecibels === undefined) {
            return `${Math.round(value * 100)} % ${this.info.unit}`;
        }
        const isFloor = value <= this.picture.info.lowest;
        return `${isFloor ? "≤ " : ""}${numberText(value, 0)} ${this.info.unit}`;
    }

    /** The row with the greatest value of a moment. */
    private strongest(seconds: number): { row: number; value: number } | null {
        let found: { row: number; value: number } | null = null;
        for (let row = 0; row < this.picture.info.rows; row++) {
            const value = this.picture.valueAt(seconds, row);
            if (value !== null && value > (found?.value ?? this.picture.info.lowest)) {
                found = { row, value };
            }
        }
        return found;
    }

    valueAt(seconds: number, place: number | null): string {
        if (place === null) {
            return "";
        }
        const value = this.picture.valueAt(seconds, Math.floor(place));
        return value === null ? this.axis.text(place) : `${this.axis.text(place)}: ${this.valueText(value)}`;
    }

    async table(begin: number, end: number): Promise<TableData> {
        const rows: string[][] = [];
        for (const time of tableTimes(begin, end)) {
            await this.picture.ready(time);
            const found = this.strongest(time);
            const text = found ? [this.axis.text(found.row + 0.5), this.valueText(found.value)] : ["nothing", ""];
            rows.push([timeText(time, digitsFor(end - begin) + 1), ...text]);
        }
        return { caption: `The strongest of each moment: ${this.info.label}`, head: ["Time", "Where", "Value"], rows };
    }

    empty(): string {
        return this.picture.info.isEmpty ? (this.info.ifEmpty ?? "") : "";
    }

    summary(): string {
        const { lowest, highest } = this.picture.info;
        return this.info.spanDecibels === undefined ? "" : `Colours run from ${numberText(lowest, 0)} to ${numberText(highest, 0)} ${this.info.unit}.`;
    }
}
