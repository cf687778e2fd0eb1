import uPlot from "uplot";
import { themeColour } from "./dom";
import { digitsFor, timeText } from "./format";

export interface PlotSettings {
    height: number;
    /** The range of the values, and their axis. */
    range: [number, number];
    ticks?: () => number[];
    tickText: (value: number) => string;
    series: uPlot.Series[];
    bands?: uPlot.Band[];
    /** Below and above the curves, in pixels of the canvas. */
    drawBelow?: (plot: uPlot) => void;
    drawAbove?: (plot: uPlot) => void;
}

export const axisWidth = (): number => (window.innerWidth < 600 ? 44 : 64);

/** Times as an axis has them. */
function timeAxis(isShown: boolean): uPlot.Axis {
    return {
        show: isShown,
        stroke: () => themeColour("text"),
        grid: { show: false },
        ticks: { stroke: () => themeColour("line"), size: 4 },
        size: 28,
        font: "12px system-ui, sans-serif",
        values: (plot, splits) => {
            const span = (plot.scales.x?.max ?? 0) - (plot.scales.x?.min ?? 0);
            return splits.map((split) => timeText(split, digitsFor(span)));
        },
    };
}

/** A plot of the shared time without cursor and legend, which the board has for all lanes. */
export function makePlot(target: HTMLElement, settings: PlotSettings, isRuler = false): uPlot {
    const [least, greatest] = settings.range;
    const options: uPlot.Options = {
        width: Math.max(target.clientWidth, 100),
        height: settings.height,
        padding: [isRuler ? 0 : 8, 24, isRuler ? 0 : 8, 0],
        cursor: { show: false },
        legend: { show: false },
        scales: {
            x: { time: false, auto: false },
            y: { auto: false, range: () => [least, greatest] },
        },
        axes: [
            timeAxis(isRuler),
            {
                size: axisWidth,
                stroke: () => themeColour("text"),
                grid: { show: false },
                ticks: { show: !isRuler, stroke: () => themeColour("line"), size: 4 },
                font: "12px system-ui, sans-serif",
                ...(settings.ticks ? { splits: settings.ticks } : { space: 28 }),
                values: (_plot, splits) => splits.map(settings.tickText),
            },
        ],
        series: [{}, ...settings.series],
        bands: settings.bands ?? [],
        hooks: {
            drawClear: settings.drawBelow ? [settings.drawBelow] : [],
            draw: settings.drawAbove ? [settings.drawAbove] : [],
        },
    };
    const empty: uPlot.AlignedData = [[0, 1], ...settings.series.map(() => [null, null])] as uPlot.AlignedData;
    const plot = new uPlot(options, empty, target);
    plot.root.setAttribute("aria-hidden", "true");
    return plot;
}

/** Restricts drawing to the inside of a plot while `draw` runs. */
export function inside(plot: uPlot, draw: (context: CanvasRenderingContext2D) => void): void {
    const { left, top, width, height } = plot.bbox;
    plot.ctx.save();
    plot.ctx.beginPath();
    plot.ctx.rect(left, top, width, height);
    plot.ctx.clip();
    draw(plot.ctx);
    plot.ctx.restore();
}
