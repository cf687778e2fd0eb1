import type uPlot from "uplot";
import type { Segment } from "./data";
import { themeColour, type TableData } from "./dom";
import { keyText, timeText } from "./format";
import type { Lane, LaneContext } from "./lane";
import type { LaneInfo } from "./lanes";
import { drawMarks } from "./marks";
import { inside, makePlot } from "./plot";

const letters = "FCGDAEB"; // by fifths

/** A hue for a key: neighbours on the circle of fifths have neighbouring hues. */
export function hueOf(name: string): number {
    const [tonic = "C", mode] = name.split(" ");
    const signs = [...tonic.slice(1)].reduce((sum, sign) => sum + (sign === "#" ? 7 : sign === "b" ? -7 : 0), 0);
    const fifths = letters.indexOf(tonic.charAt(0)) - 1 + signs + (mode === "minor" ? 9 : 0);
    return ((((fifths % 12) + 12) % 12) * 30 + 200) % 360;
}

/** Stretches with names. */
export class StripLane implements Lane {
    readonly plot: uPlot;

    constructor(
        readonly info: LaneInfo,
        private readonly segments: Segment[],
        context: LaneContext,
        target: HTMLElement,
    ) {
        this.plot = makePlot(target, {
            height: info.height ?? 56,
            range: [0, 1],
            ticks: () => [],
            tickText: () => "",
            series: [{ show: false }],
            drawBelow: (plot) => this.draw(plot),
            drawAbove: (plot) => drawMarks(plot, context.marks),
        });
    }

    private draw(plot: uPlot): void {
        const ratio = window.devicePixelRatio || 1;
        const { left, top, width, height } = plot.bbox;
        inside(plot, (context) => {
            context.font = `${14 * ratio}px system-ui, sans-serif`;
            context.textBaseline = "middle";
            context.textAlign = "left";
            for (const segment of this.segments) {
                const from = Math.max(plot.valToPos(segment.begin, "x", true), left);
                const to = Math.min(plot.valToPos(segment.end, "x", true), left + width);
                if (to > from) {
                    const isMinor = segment.name.endsWith("minor");
                    context.fillStyle = `hsl(${hueOf(segment.name)} ${isMinor ? 35 : 60}% ${themeColour("strip-lightness")})`;
                    context.fillRect(from, top, to - from - ratio, height);
                    this.label(context, keyText(segment.name), from + 6 * ratio, to, top + height / 2);
                }
            }
        });
    }

    /** Names that do not fit are left out: hovering and the table have them. */
    private label(context: CanvasRenderingContext2D, text: string, x: number, end: number, y: number): void {
        context.fillStyle = themeColour("text");
        const short = text.replace(" major", "").replace(" minor", "m").replace("bar ", "");
        const shown = [text, short].find((label) => x + context.measureText(label).width < end - 4);
        if (shown) {
            context.fillText(shown, x, y);
        }
    }

    prepare(): void {}

    valueAt(seconds: number): string {
        const found = this.segments.find((segment) => segment.begin <= seconds && seconds < segment.end);
        return found ? keyText(found.name) : "";
    }

    async table(begin: number, end: number): Promise<TableData> {
        const shown = this.segments.filter((segment) => segment.end > begin && segment.begin < end);
        return {
            caption: "Stretches of one key",
            head: ["From", "To", "Key"],
            rows: shown.map((segment) => [timeText(segment.begin, 1), timeText(segment.end, 1), keyText(segment.name)]),
        };
    }

    empty(): string {
        return this.segments.length === 0 ? (this.info.ifEmpty ?? "") : "";
    }

    summary(): string {
        return this.segments.length === 0 ? "No key was found." : `${this.segments.length} stretches.`;
    }
}
