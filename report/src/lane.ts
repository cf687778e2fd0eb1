import type uPlot from "uplot";
import type { TableData } from "./dom";
import type { LaneInfo } from "./lanes";
import type { Mark } from "./marks";
import type { Timeline } from "./timeline";

/** What all lanes get. */
export interface LaneContext {
    timeline: Timeline;
    marks: Mark[];
    /** Asks for another drawing, as when a picture has arrived. */
    redraw: () => void;
}

/** A lane of the board, whose plot has an element of its own. */
export interface Lane {
    readonly info: LaneInfo;
    readonly plot: uPlot;
    /** Puts the data of the shown stretch into the plot, before it is drawn. */
    prepare(begin: number, end: number): void;
    /** The value at a moment, and at a place of the value axis where the pointer is in this lane. */
    valueAt(seconds: number, place: number | null): string;
    /** Values of a stretch for those who do not see the picture. */
    table(begin: number, end: number): Promise<TableData>;
    /** Why there is nothing to see; empty where there is something. */
    empty(): string;
    /** Names and colours of the style sheet of its curves, where there are several. */
    legend?: { label: string; colour: string }[];
    /** One sentence about the whole lane. */
    summary(): string;
}

/** Moments for the rows of a table. */
export function tableTimes(begin: number, end: number, rows = 24): number[] {
    return Array.from({ length: rows }, (_, i) => begin + ((end - begin) * (i + 0.5)) / rows);
}
