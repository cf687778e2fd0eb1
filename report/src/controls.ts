import type { Board } from "./board";
import { make } from "./dom";
import { keys, type Actions } from "./gestures";
import type { Mark } from "./marks";
import { barAround, type Player } from "./player";
import type { Timeline } from "./timeline";

const button = (text: string, label: string, act: () => void): HTMLButtonElement => {
    const element = make("button", { type: "button", "aria-label": label, title: label }, text);
    element.addEventListener("click", act);
    return element;
};

const toggle = (text: string, isOn: boolean, act: (isOn: boolean) => void): HTMLButtonElement => {
    const element = make("button", { type: "button", class: "toggle", "aria-pressed": String(isOn) }, text);
    element.addEventListener("click", () => {
        const next = element.getAttribute("aria-pressed") !== "true";
        element.setAttribute("aria-pressed", String(next));
        act(next);
    });
    return element;
};

/** The bar of switches above the lanes. */
export class Controls implements Actions {
    readonly element = make("div", { class: "controls", role: "group", "aria-label": "View and sound" });
    private readonly clicks: HTMLButtonElement | null = null;
    private readonly loop: HTMLButtonElement | null = null;
    private readonly message = make("span", { role: "status", class: "status" });

    constructor(
        private readonly timeline: Timeline,
        private readonly player: Player | null,
        private readonly marks: Mark[],
        board: Board,
    ) {
        const view = make("div", { class: "group", role: "group", "aria-label": "Zoom" });
        view.append(
            button("−", "Zoom out", () => timeline.zoom(0.5, timeline.cursor)),
            button("+", "Zoom in", () => timeline.zoom(2, timeline.cursor)),
            button("All", "Show the whole song", () => timeline.showAll()),
        );
        const lines = make("div", { class: "group", role: "group", "aria-label": "Lines" });
        for (const mark of marks) {
            const change = (isOn: boolean): void => {
                mark.shown = isOn;
                player?.restart();
                board.drawAll();
            };
            const element = toggle(mark.label, mark.shown, change);
            element.classList.add(`mark-${mark.id}`);
            lines.append(element);
        }
        this.element.append(view, lines);
        if (player) {
            this.clicks = toggle("Clicks", false, (isOn) => player.setClicks(isOn));
            this.loop = toggle("Loop bar", false, (isOn) => this.setLoop(isOn));
            this.element.append(player.audio, make("div", { class: "group" }, this.clicks, this.loop, this.shift(player)));
        }
        this.element.append(this.message, help());
    }

    private shift(player: Player): HTMLElement {
        const slider = make("input", { type: "range", min: "-100", max: "100", step: "1", value: "0" });
        const shown = make("output", {}, "0 ms");
        slider.addEventListener("input", () => {
            player.shiftSeconds = Number(slider.value) / 1000;
            player.restart();
            shown.textContent = `${slider.value.replace("-", "−")} ms`;
        });
        return make("label", { class: "shift" }, "Clicks later by ", slider, shown);
    }

    private setLoop(isOn: boolean): void {
        const downBeats = this.marks.find((mark) => mark.id === "downBeats")?.times ?? [];
        const bar = isOn ? barAround(downBeats, this.timeline.cursor) : null;
        this.player?.setLoop(bar);
        this.message.textContent = isOn && !bar ? "There is no bar here." : "";
        this.loop?.setAttribute("aria-pressed", String(bar !== null));
        if (bar) {
            this.player?.seek(bar[0]);
        }
    }

    seek(seconds: number): void {
        if (this.player) {
            this.player.seek(seconds);
        } else {
            this.timeline.moveCursor(seconds);
        }
    }

    togglePlay(): void {
        void this.player?.toggle();
    }

    toggleLoop(): void {
        this.loop?.click();
    }

    toggleClicks(): void {
        this.clicks?.click();
    }
}

function help(): HTMLElement {
    const rows = keys.flatMap(({ name, does }) => [make("dt", {}, make("kbd", {}, name)), make("dd", {}, does)]);
    const pointer = "Drag to move through the song, click to place the cursor, turn the wheel with Ctrl or Shift to zoom.";
    return make("details", { class: "help" }, make("summary", {}, "Keys and mouse"), make("p", {}, pointer), make("dl", {}, ...rows));
}
