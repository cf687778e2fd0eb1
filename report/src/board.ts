import { make, makeTable } from "./dom";
import { digitsFor, timeText } from "./format";
import type { Lane } from "./lane";
import { makePlot } from "./plot";
import type { Timeline } from "./timeline";
import type uPlot from "uplot";

interface Place {
    lane: Lane;
    section: HTMLElement;
    picture: HTMLElement;
    readout: HTMLElement;
    fold: HTMLButtonElement;
    details: HTMLDetailsElement;
}

/** All lanes one below the other, the ruler above them, and the cursor over them. */
export class Board {
    readonly element = make("div", { class: "board" });
    readonly ruler = make("div", { class: "ruler", tabindex: "0", role: "slider", "aria-label": "Position in the song" });
    private readonly cursor = make("div", { class: "cursor", "aria-hidden": "true" });
    private readonly hover = make("div", { class: "hover", "aria-hidden": "true", hidden: "" });
    private readonly places: Place[] = [];
    private rulerPlot: uPlot | null = null;
    private isDue = false;

    constructor(private readonly timeline: Timeline) {
        this.element.append(this.ruler, this.hover, this.cursor);
        timeline.onChange(() => this.redraw());
        new ResizeObserver(() => this.resize()).observe(this.element);
    }

    /** Call it when the element is in the page: plots need their width. */
    begin(): void {
        this.rulerPlot = makePlot(
            this.ruler,
            { height: 30, range: [0, 1], ticks: () => [], tickText: () => "", series: [{ show: false }] },
            true,
        );
    }

    /** Adds a lane; `build` makes its plot in the element that it is given. */
    add(build: (target: HTMLElement) => Lane, extra: (lane: Lane) => HTMLElement[] = () => []): void {
        const picture = make("div", { class: "picture", role: "img" });
        const section = make("section", { class: "lane" });
        this.element.append(section);
        section.append(picture);
        const lane = build(picture);
        const id = `lane-${lane.info.id}`;
        const fold = make("button", { class: "fold", type: "button", "aria-expanded": "true", "aria-controls": id }, lane.info.label);
        const readout = make("output", { class: "readout", "aria-live": "off" });
        const keys = (lane.legend ?? []).map(({ label, colour }) => make("span", { class: `legend ${colour}` }, label));
        const header = make("header", {}, make("h2", {}, fold), ...keys, ...extra(lane), readout);
        const body = make("div", { id, class: "body" });
        const details = make("details", {}, make("summary", {}, `${lane.info.label}: values as a table`));
        const empty = lane.empty();
        body.append(...(empty === "" ? [] : [make("p", { class: "empty" }, empty)]), picture, details);
        section.prepend(header, body);
        section.setAttribute("aria-label", lane.info.label);
        picture.setAttribute("aria-label", `${lane.info.label} over time. ${lane.info.description} ${empty === "" ? lane.summary() : empty}`);
        const place = { lane, section, picture, readout, fold, details };
        this.places.push(place);
        fold.addEventListener("click", () => this.setOpen(place, body.hidden));
        details.addEventListener("toggle", () => void this.fillTable(place));
        this.setOpen(place, lane.info.open);
    }

    private setOpen(place: Place, isOpen: boolean): void {
        const body = place.picture.parentElement as HTMLElement;
        body.hidden = !isOpen;
        place.fold.setAttribute("aria-expanded", String(isOpen));
        for (const element of place.section.querySelectorAll<HTMLElement>("header .toggle, header .legend")) {
            element.hidden = !isOpen; // they change what is not there
        }
        this.resize();
    }

    private async fillTable(place: Place): Promise<void> {
        place.details.querySelector(".scroll")?.remove();
        if (place.details.open) {
            const table = await place.lane.table(this.timeline.begin, this.timeline.end);
            const name = `${table.caption}, ${timeText(this.timeline.begin, 1)} to ${timeText(this.timeline.end, 1)}`;
            place.details.append(make("div", { class: "scroll", tabindex: "0", role: "region", "aria-label": name }, makeTable({ ...table, caption: name })));
        }
    }

    get lanes(): Lane[] {
        return this.places.map((place) => place.lane);
    }

    private openPlaces(): Place[] {
        return this.places.filter((place) => place.fold.getAttribute("aria-expanded") === "true");
    }

    resize(): void {
        for (const plot of [this.rulerPlot, ...this.openPlaces().map((place) => place.lane.plot)]) {
            const width = plot?.root.parentElement?.clientWidth ?? 0;
            if (plot && width > 0 && width !== plot.width) {
                plot.setSize({ width, height: plot.height });
            }
        }
        this.redraw();
    }

    /** Draws once before the next picture of the screen, however often it is asked to. */
    redraw(): void {
        if (!this.isDue) {
            this.isDue = true;
            requestAnimationFrame(() => this.drawNow());
        }
    }

    private drawNow(): void {
        this.isDue = false;
        const { begin, end } = this.timeline;
        for (const { lane } of this.openPlaces()) {
            lane.plot.batch(() => {
                lane.prepare(begin, end);
                lane.plot.setScale("x", { min: begin, max: end });
            });
        }
        this.rulerPlot?.setScale("x", { min: begin, max: end });
        this.placeCursor();
    }

    /** Draws everything, as colours have changed. */
    drawAll(): void {
        this.drawNow();
        for (const plot of [this.rulerPlot, ...this.openPlaces().map((place) => place.lane.plot)]) {
            plot?.redraw(false, true);
        }
    }

    /** Where the plots begin, and how wide they are, in pixels of the board. */
    private inner(): { left: number; width: number } {
        const over = this.rulerPlot?.over;
        return { left: over?.offsetLeft ?? 0, width: Math.max(over?.clientWidth ?? 1, 1) };
    }

    xOf(seconds: number): number {
        const { left, width } = this.inner();
        return left + ((seconds - this.timeline.begin) / this.timeline.span) * width;
    }

    secondsAt(clientX: number): number {
        const { left, width } = this.inner();
        const x = clientX - this.element.getBoundingClientRect().left - left;
        return this.timeline.begin + (Math.min(Math.max(x / width, 0), 1)) * this.timeline.span;
    }

    private placeCursor(): void {
        const { cursor, begin, end, duration, span } = this.timeline;
        this.cursor.hidden = cursor < begin || cursor > end;
        this.cursor.style.transform = `translateX(${this.xOf(cursor)}px)`;
        this.ruler.setAttribute("aria-valuemin", "0");
        this.ruler.setAttribute("aria-valuemax", duration.toFixed(3));
        this.ruler.setAttribute("aria-valuenow", cursor.toFixed(3));
        this.ruler.setAttribute("aria-valuetext", `${timeText(cursor, 2)}; shown: ${timeText(begin, digitsFor(span))} to ${timeText(end, digitsFor(span))}`);
    }

    /** Shows the values at the pointer; null takes them away. */
    point(event: PointerEvent | null): void {
        this.hover.hidden = event === null;
        const seconds = event ? this.secondsAt(event.clientX) : this.timeline.cursor;
        this.hover.style.transform = `translateX(${this.xOf(seconds)}px)`;
        for (const { lane, readout } of this.places) {
            if (!event) {
                readout.textContent = "";
                continue;
            }
            const box = lane.plot.over.getBoundingClientRect();
            const isHere = event.clientY >= box.top && event.clientY < box.bottom;
            const place = isHere ? lane.plot.posToVal(event.clientY - box.top, "y") : null;
            readout.textContent = `${timeText(seconds, digitsFor(this.timeline.span) + 1)} ${lane.valueAt(seconds, place)}`;
        }
    }
}
