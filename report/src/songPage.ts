import { Board } from "./board";
import { cardEntries } from "./card";
import { Controls } from "./controls";
import { CurvesLane } from "./curvesLane";
import type { SongPage } from "./data";
import { forgetColours, make } from "./dom";
import { connectKeys, connectPointer } from "./gestures";
import type { Lane, LaneContext } from "./lane";
import { lanes, type LaneInfo } from "./lanes";
import { type Mark, takeMarks } from "./marks";
import { PictureLane } from "./pictureLane";
import { PictureSource } from "./picture";
import { Player } from "./player";
import { Runs } from "./runs";
import { StripLane } from "./stripLane";
import { Timeline } from "./timeline";
import { WaveformLane } from "./waveformLane";

function header(page: SongPage): HTMLElement {
    const { song } = page;
    const name = song.title === "" ? song.name : song.title;
    const others = [song.artist, song.album, song.title === "" ? "" : song.name].filter((text) => text !== "");
    const warnings = song.warnings.map((text) => make("p", { class: "warning" }, `Warning: ${text}`));
    document.title = name;
    return make("header", { class: "page" }, make("h1", {}, name), make("p", { class: "subtitle" }, others.join(" · ")), ...warnings);
}

function card(page: SongPage): HTMLElement {
    const entries = cardEntries(page.song).map((entry) =>
        make(
            "div",
            { class: "entry" },
            make("dt", {}, entry.label),
            make("dd", { class: "value" }, entry.value),
            make("dd", { class: "more" }, entry.more),
            make("dd", { class: "meaning" }, `${entry.meaning} ${entry.sure}`),
        ),
    );
    return make("section", { class: "card", "aria-label": "Readings" }, make("dl", {}, ...entries));
}

/** Makes the lane of an entry of the list; null for one that is no lane of its own. */
class LaneFactory {
    constructor(
        private readonly page: SongPage,
        private readonly context: LaneContext,
        private readonly runs: Runs,
    ) {}

    build(info: LaneInfo, target: HTMLElement): Lane {
        switch (info.kind) {
            case "waveform":
                return new WaveformLane(info, this.page.waveform.stepSeconds, this.context, target);
            case "strip":
                return new StripLane(info, this.page.song.readings.key.segments, this.context, target);
            case "curves":
                return new CurvesLane(info, this.page, this.context, target, info.id === "tempo" ? this.runs.sharedRange : undefined);
            default:
                return new PictureLane(info, this.source(info), this.overlayOf(info), this.page.song.sampleRateHz, this.context, target);
        }
    }

    private source(info: LaneInfo): PictureSource {
        const picture = this.page.pictures[info.id];
        if (!picture) {
            throw new Error(`the page has no picture for the lane ${info.id}`);
        }
        return new PictureSource(info.id, picture, this.page.colours, this.context.redraw);
    }

    private overlayOf(info: LaneInfo): { info: LaneInfo; picture: PictureSource } | null {
        const overlay = lanes.find((other) => other.over === info.id);
        return overlay ? { info: overlay, picture: this.source(overlay) } : null;
    }
}

function overlaySwitch(lane: Lane, redraw: () => void): HTMLElement[] {
    if (!(lane instanceof PictureLane) || !lane.overlay) {
        return [];
    }
    const { info } = lane.overlay;
    const element = make("button", { type: "button", class: "toggle", "aria-pressed": String(info.open), title: info.description }, info.label);
    element.addEventListener("click", () => {
        lane.overlayShown = !lane.overlayShown;
        element.setAttribute("aria-pressed", String(lane.overlayShown));
        redraw();
    });
    return [element];
}

/** What scripts can reach: the tests use it. */
export interface SongHandle {
    timeline: Timeline;
    board: Board;
    marks: Mark[];
    player: Player | null;
}

export function showSong(page: SongPage, app: HTMLElement): SongHandle {
    const timeline = new Timeline(Math.max(page.song.seconds, Timeline.shortest));
    const board = new Board(timeline);
    const marks = takeMarks();
    const player = page.audio ? new Player(page.audio, marks, timeline) : null;
    const controls = new Controls(timeline, player, marks, board);
    const context: LaneContext = { timeline, marks, redraw: () => board.drawAll() };
    const runs = new Runs(page, context);
    const table = runs.table();
    app.append(header(page), make("main", {}, card(page), ...(table ? [table] : []), controls.element, board.element), make("footer", {}, page.generator));
    board.begin();
    const factory = new LaneFactory(page, context, runs);
    for (const info of lanes.filter((lane) => lane.kind !== "overlay")) {
        board.add(
            (target) => factory.build(info, target),
            (lane) => overlaySwitch(lane, () => board.drawAll()),
        );
        for (const build of runs.beneath(info.id)) {
            board.add(build);
        }
    }
    connectPointer(board, timeline, controls);
    connectKeys(board, timeline, controls);
    followScheme(board);
    board.resize();
    return { timeline, board, marks, player };
}

/** Draws anew where the colours of the style sheet change: by the scheme, and for paper. */
function followScheme(board: Board): void {
    const drawAnew = (): void => {
        forgetColours();
        board.drawAll();
    };
    matchMedia("(prefers-color-scheme: dark)").addEventListener("change", drawAnew);
    for (const name of ["beforeprint", "afterprint"]) {
        window.addEventListener(name, () => {
            document.documentElement.classList.toggle("paper", name === "beforeprint");
            board.resize();
            drawAnew();
        });
    }
}
