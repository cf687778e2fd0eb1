import { CurvesLane, curveLists, rangeOf } from "./curvesLane";
import { takeDoubles, type RunInfo, type Segment, type SongPage } from "./data";
import { make, makeTable } from "./dom";
import { keyText, numberText } from "./format";
import type { Lane, LaneContext } from "./lane";
import { lanes, type LaneInfo } from "./lanes";
import { firstFrom } from "./levels";
import type { Mark } from "./marks";
import { StripLane } from "./stripLane";

const nearSeconds = 0.05; // beats that are no further apart are the same

/** Bars as stretches, from each down beat to the next one. */
export function barsOf(downBeats: ArrayLike<number>, seconds: number): Segment[] {
    return Array.from(downBeats, (begin, i) => ({ begin, end: downBeats[i + 1] ?? seconds, name: `bar ${i + 1}` }));
}

/** The share of beats that have one of the other list near them; null without beats. */
export function agreement(beats: ArrayLike<number>, others: ArrayLike<number>): number | null {
    const found = Array.from(beats).filter((time) => {
        const next = firstFrom(others, time - nearSeconds);
        return (others[next] ?? Number.POSITIVE_INFINITY) <= time + nearSeconds;
    });
    return beats.length === 0 ? null : found.length / beats.length;
}

/** A run's lines, which are switched with those of this one. */
function marksOf(run: number, own: Mark[]): Mark[] {
    return own
        .filter((mark) => mark.id !== "onsets")
        .map((mark) => ({
            ...mark,
            times: takeDoubles(`marks:${mark.id}-${run}`),
            get shown(): boolean {
                return mark.shown;
            },
        }));
}

const listed = (id: string): LaneInfo => lanes.find((lane) => lane.id === id) as LaneInfo;
const timesOf = (marks: Mark[], id: string): Float64Array => marks.find((mark) => mark.id === id)?.times ?? new Float64Array();

/** Other runs beneath this one: its lanes of bars, keys and tempo, and theirs. */
export class Runs {
    private readonly infos: RunInfo[];
    private readonly marks: Mark[][];
    private readonly tempoRange: [number, number] | null;

    constructor(
        private readonly page: SongPage,
        private readonly context: LaneContext,
    ) {
        this.infos = page.runs ?? [];
        this.marks = this.infos.map((_, run) => marksOf(run, context.marks));
        const own = listed("tempo");
        this.infos.forEach((_, run) => {
            page.curves[`tempo-${run}:beats`] = { at: "marks:beats" }; // of the run's own marks
        });
        this.tempoRange = rangeOf([own, ...this.infos.map((_, run) => this.tempoInfo(run))].flatMap(curveLists));
    }

    get any(): boolean {
        return this.infos.length > 0;
    }

    /** The range that the tempi of all runs share, so that their curves can be compared. */
    get sharedRange(): [number, number] | null | undefined {
        return this.any ? this.tempoRange : undefined;
    }

    private infoOf(id: string, label: string, run: number): LaneInfo {
        const own = listed(id);
        return { ...own, id: `${id}-${run}`, label: `${label}: ${this.infos[run]?.label ?? ""}` };
    }

    private tempoInfo(run: number): LaneInfo {
        return { ...this.infoOf("tempo", "Tempo", run), curves: [{ id: "beats", label: "from four beats" }] };
    }

    /** The lanes that stand beneath a lane of this run: what builds each. */
    beneath(id: string): ((target: HTMLElement) => Lane)[] {
        if (id === "waveform" && this.any) {
            const others = this.marks.map((marks, run) => this.bars(`bars-${run}`, this.infos[run]?.label ?? "", marks));
            return [this.bars("bars", "this run", this.context.marks), ...others];
        }
        if (id === "keys") {
            return this.infos.map((info, run) => (target) => new StripLane(this.infoOf("keys", "Keys", run), info.segments, this.contextOf(run), target));
        }
        if (id === "tempo") {
            return this.infos.map((_, run) => (target) => new CurvesLane(this.tempoInfo(run), this.page, this.contextOf(run), target, this.tempoRange));
        }
        return [];
    }

    private contextOf(run: number): LaneContext {
        return { ...this.context, marks: this.marks[run] ?? [] };
    }

    private bars(id: string, name: string, marks: Mark[]): (target: HTMLElement) => Lane {
        const own = listed("keys");
        const shown: LaneInfo = {
            ...own,
            id,
            label: `Bars: ${name}`,
            source: "reading Bars",
            description: "Bars from each down beat to the next one, with lines on the beats.",
            ifEmpty: "No bars were found.",
        };
        const segments = barsOf(timesOf(marks, "downBeats"), this.page.song.seconds);
        return (target) => new StripLane(shown, segments, { ...this.context, marks }, target);
    }

    /** The readings of all runs beside each other; null where there is one run. */
    table(): HTMLElement | null {
        if (!this.any) {
            return null;
        }
        const orNone = (value: number | null, unit: string, digits = 2): string => (value === null ? "none" : `${numberText(value, digits)}${unit}`);
        const { tempo, key, bars } = this.page.song.readings;
        const ownBeats = timesOf(this.context.marks, "beats");
        const columns: RunInfo[] = [
            { label: "This run", tempoBpm: tempo.bpm, beatsPerBar: bars.beatsPerBar, key: key.main, segments: [] },
            ...this.infos,
        ];
        const beats = [ownBeats, ...this.marks.map((marks) => timesOf(marks, "beats"))];
        const same = (times: Float64Array, i: number): string => {
            const share = agreement(times, ownBeats);
            return i === 0 || share === null ? "–" : `${Math.round(share * 100)} %`;
        };
        const rows = [
            ["Tempo", ...columns.map((run) => orNone(run.tempoBpm, " BPM"))],
            ["Key", ...columns.map((run) => (run.key === null ? "none" : keyText(run.key)))],
            ["Beats per bar", ...columns.map((run) => orNone(run.beatsPerBar, "", 0))],
            ["Beats", ...beats.map((times) => String(times.length))],
            ["Beats within 50 ms of one of this run", ...beats.map(same)],
        ];
        const table = makeTable({ caption: "Runs over this song", head: ["Reading", ...columns.map((run) => run.label)], rows });
        return make("section", { class: "runs scroll", tabindex: "0", role: "region", "aria-label": "Runs compared" }, table);
    }
}
