type Attributes = Record<string, string>;

/** An element with attributes and children. Text becomes text, never markup. */
export function make<Tag extends keyof HTMLElementTagNameMap>(
    tag: Tag,
    attributes: Attributes = {},
    ...children: (Node | string)[]
): HTMLElementTagNameMap[Tag] {
    const element = document.createElement(tag);
    for (const [name, value] of Object.entries(attributes)) {
        element.setAttribute(name, value);
    }
    element.append(...children);
    return element;
}

export interface TableData {
    caption: string;
    head: string[];
    rows: string[][];
}

export function makeTable(data: TableData): HTMLTableElement {
    const head = make("tr", {}, ...data.head.map((text) => make("th", { scope: "col" }, text)));
    const rows = data.rows.map((row) => make("tr", {}, ...row.map((text) => make("td", {}, text))));
    return make("table", {}, make("caption", {}, data.caption), make("thead", {}, head), make("tbody", {}, ...rows));
}

const colours = new Map<string, string>();

/** A colour of the style sheet, which follows the scheme. It is asked for in every picture: hence kept. */
export function themeColour(name: string): string {
    let colour = colours.get(name);
    if (colour === undefined) {
        colour = getComputedStyle(document.documentElement).getPropertyValue(`--${name}`).trim();
        colours.set(name, colour);
    }
    return colour;
}

/** Call it when the scheme changes. */
export const forgetColours = (): void => colours.clear();
