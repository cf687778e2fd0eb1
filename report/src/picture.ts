import { block, type Level, type PictureInfo } from "./data";
import { levelFor } from "./levels";

const mostTiles = 48;

/** The tiles of a picture. They are decoded when they are to be seen, and the oldest forgotten. */
export class PictureSource {
    private readonly tiles = new Map<string, HTMLImageElement>();
    private readonly indexOf = new Map<number, number>();
    private readonly probe: CanvasRenderingContext2D | null;

    constructor(
        private readonly id: string,
        readonly info: PictureInfo,
        private readonly colours: string[],
        private readonly arrived: () => void,
    ) {
        colours.forEach((colour, i) => this.indexOf.set(Number.parseInt(colour.slice(1), 16), i));
        const canvas = document.createElement("canvas");
        canvas.width = canvas.height = 1;
        this.probe = canvas.getContext("2d", { willReadFrequently: true });
    }

    /** Draws what lies between two moments; `x` gives the pixel of a moment. */
    draw(context: CanvasRenderingContext2D, begin: number, end: number, x: (seconds: number) => number, top: number, height: number): void {
        const number = levelFor(this.info.levels, (end - begin) / Math.max(x(end) - x(begin), 1));
        const level = this.info.levels[number] as Level;
        const tileSeconds = level.columnSeconds * this.info.tileColumns;
        const first = Math.max(Math.floor((begin - this.info.firstSeconds) / tileSeconds), 0);
        const last = Math.min(Math.floor((end - this.info.firstSeconds) / tileSeconds), Math.ceil(level.columns / this.info.tileColumns) - 1);
        context.imageSmoothingEnabled = false;
        for (let tile = first; tile <= last; tile++) {
            const image = this.tile(number, tile);
            if (image) {
                const from = this.info.firstSeconds + tile * tileSeconds;
                const left = x(from);
                const width = x(from + image.naturalWidth * level.columnSeconds) - left;
                context.drawImage(image, left, top, width, height);
            }
        }
    }

    /** The value at a moment and a row, on the finest level; null where there is none, or not yet. */
    valueAt(seconds: number, row: number): number | null {
        const level = this.info.levels[0] as Level;
        const column = Math.floor((seconds - this.info.firstSeconds) / level.columnSeconds);
        if (column < 0 || column >= level.columns || row < 0 || row >= this.info.rows || !this.probe) {
            return null;
        }
        const image = this.tile(0, Math.floor(column / this.info.tileColumns));
        if (!image) {
            return null;
        }
        this.probe.clearRect(0, 0, 1, 1);
        this.probe.drawImage(image, column % this.info.tileColumns, this.info.rows - 1 - row, 1, 1, 0, 0, 1, 1);
        const [red = 0, green = 0, blue = 0] = this.probe.getImageData(0, 0, 1, 1).data;
        const index = this.indexOf.get((red << 16) | (green << 8) | blue);
        if (index === undefined) {
            return null;
        }
        return this.info.lowest + ((this.info.highest - this.info.lowest) * index) / (this.colours.length - 1);
    }

    /** Resolves when the tile of a moment is there to be read. */
    async ready(seconds: number): Promise<void> {
        const level = this.info.levels[0] as Level;
        const column = Math.max(Math.floor((seconds - this.info.firstSeconds) / level.columnSeconds), 0);
        const key = `0:${Math.min(Math.floor(column / this.info.tileColumns), Math.ceil(level.columns / this.info.tileColumns) - 1)}`;
        this.tile(0, Number(key.slice(2)));
        await this.tiles.get(key)?.decode();
    }

    private tile(level: number, tile: number): HTMLImageElement | null {
        const key = `${level}:${tile}`;
        const known = this.tiles.get(key);
        if (known) {
            return known.complete && known.naturalWidth > 0 ? known : null;
        }
        const text = block(`picture:${this.id}:${key}`);
        if (text === "") {
            return null;
        }
        const image = new Image();
        image.addEventListener("load", this.arrived);
        image.src = `data:image/png;base64,${text}`;
        this.tiles.set(key, image);
        const oldest = this.tiles.keys().next().value;
        if (this.tiles.size > mostTiles && oldest !== undefined) {
            this.tiles.delete(oldest);
        }
        return null;
    }
}
