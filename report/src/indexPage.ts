import type { IndexPage, IndexRow } from "./data";
import { make } from "./dom";
import { hertzText, keyText, numberText, percent, timeText } from "./format";

/** A column of the table of songs: what it shows, and what it sorts by. */
interface Column {
    label: string;
    isNumber: boolean;
    text(row: IndexRow): string;
    sortedBy(row: IndexRow): number | string | null;
}

const orDash = (value: number | null | undefined, text: (value: number) => string): string =>
    value === null || value === undefined ? "–" : text(value);

function number(label: string, of: (row: IndexRow) => number | null | undefined, text: (value: number) => string): Column {
    return { label, isNumber: true, text: (row) => orDash(of(row), text), sortedBy: (row) => of(row) ?? null };
}

export const columns: Column[] = [
    { label: "Song", isNumber: false, text: (row) => row.name, sortedBy: (row) => row.name.toLowerCase() },
    number("Length", (row) => row.seconds, (value) => timeText(value)),
    number("Tempo, BPM", (row) => row.readings?.tempo.bpm, (value) => numberText(value)),
    number("Tempo, sure", (row) => (row.readings?.tempo.bpm ? row.readings.tempo.strength : null), percent),
    {
        label: "Key",
        isNumber: false,
        text: (row) => (row.readings?.key.main ? keyText(row.readings.key.main) : "–"),
        sortedBy: (row) => row.readings?.key.main ?? null,
    },
    number("Key, sure", (row) => (row.readings?.key.main ? row.readings.key.strength : null), percent),
    number("Beats per bar", (row) => row.readings?.bars.beatsPerBar, String),
    number("Loudness, LUFS", (row) => row.readings?.loudness.integratedLufs, (value) => numberText(value)),
    number("Range, LU", (row) => row.readings?.loudness.rangeLu, (value) => numberText(value)),
    number("True peak, dBTP", (row) => row.readings?.loudness.truePeakDbtp, (value) => numberText(value)),
    number("Bandwidth", (row) => row.readings?.bandwidth.cutoffHz, hertzText),
];

/** Rows in the order of a column; rows without a value come last in both orders. */
export function sorted(rows: IndexRow[], column: Column, isDescending: boolean): IndexRow[] {
    const sign = isDescending ? -1 : 1;
    return [...rows].sort((one, other) => {
        const [a, b] = [column.sortedBy(one), column.sortedBy(other)];
        if (a === null || b === null) {
            return Number(a === null) - Number(b === null);
        }
        return sign * (typeof a === "number" && typeof b === "number" ? a - b : String(a).localeCompare(String(b)));
    });
}

/** A link to a page beside this one, whatever characters its name has. */
export const linkTo = (page: string): string => page.split("/").map(encodeURIComponent).join("/");

function rowOf(row: IndexRow): HTMLTableRowElement {
    const name = row.page === "" ? make("span", {}, row.name) : make("a", { href: `./${linkTo(row.page)}` }, row.name);
    const first = make("th", { scope: "row" }, name);
    if (row.error !== "") {
        return make("tr", {}, first, make("td", { colspan: String(columns.length - 1), class: "error" }, row.error));
    }
    return make("tr", {}, first, ...columns.slice(1).map((column) => make("td", column.isNumber ? { class: "number" } : {}, column.text(row))));
}

export function showIndex(page: IndexPage, app: HTMLElement): void {
    document.title = `${page.songs.length} songs`;
    const body = make("tbody");
    const heads = columns.map((column) => {
        const head = make("th", { scope: "col" }, make("button", { type: "button" }, column.label));
        head.addEventListener("click", () => sortBy(column, head));
        return head;
    });
    const sortBy = (column: Column, head: HTMLElement): void => {
        const isDescending = head.getAttribute("aria-sort") === "ascending";
        heads.forEach((other) => other.removeAttribute("aria-sort"));
        head.setAttribute("aria-sort", isDescending ? "descending" : "ascending");
        body.replaceChildren(...sorted(page.songs, column, isDescending).map(rowOf));
    };
    body.append(...page.songs.map(rowOf));
    const table = make("table", { class: "index" }, make("caption", {}, "Press a heading to sort by it."), make("thead", {}, make("tr", {}, ...heads)), body);
    const scroll = make("div", { class: "scroll", tabindex: "0", role: "region", "aria-label": "Songs" }, table);
    app.append(make("header", { class: "page" }, make("h1", {}, `${page.songs.length} songs`)), make("main", {}, scroll), make("footer", {}, page.generator));
}
