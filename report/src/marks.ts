import type uPlot from "uplot";
import { takeDoubles } from "./data";
import { themeColour } from "./dom";
import { marks as list, type MarkInfo } from "./lanes";
import { firstFrom } from "./levels";
import { inside } from "./plot";

/** Moments that are drawn as lines over all lanes. */
export interface Mark extends MarkInfo {
    times: Float64Array;
}

export const takeMarks = (): Mark[] => list.map((mark) => ({ ...mark, times: takeDoubles(`marks:${mark.id}`) }));

const weight = (mark: Mark): number => ["onsets", "beats", "downBeats"].indexOf(mark.id);

const leastPixels = 4; // between two lines

/** Draws the lines of the marks that are shown; those that would be too dense are left out. */
export function drawMarks(plot: uPlot, marks: Mark[]): void {
    const begin = plot.scales.x?.min ?? 0;
    const end = plot.scales.x?.max ?? 0;
    const ratio = window.devicePixelRatio || 1;
    inside(plot, (context) => {
        // The heaviest come last, over the others.
        for (const mark of [...marks].sort((one, other) => weight(one) - weight(other))) {
            const first = firstFrom(mark.times, begin);
            const last = firstFrom(mark.times, end);
            if (!mark.shown || (last - first) * leastPixels * ratio > plot.bbox.width) {
                continue;
            }
            const isHeavy = mark.id === "downBeats";
            const width = Math.max(Math.round((isHeavy ? 2 : 1) * ratio), 1);
            context.fillStyle = themeColour(mark.id);
            for (let i = first; i < last; i++) {
                const x = Math.round(plot.valToPos(mark.times[i] as number, "x", true));
                context.fillRect(x - (width >> 1), plot.bbox.top, width, plot.bbox.height);
            }
        }
    });
}
