import type {} from "../../src/main";
import type { Page } from "puppeteer-core";
import { afterAll, beforeAll, describe, expect, it } from "vitest";
import { Bench, readPixels } from "./chromium";
import { strokes, tones, wav } from "./sounds";

const bench = new Bench();
const brightness = ([red = 0, green = 0, blue = 0]: number[]): number => 0.2 * red + 0.7 * green + 0.1 * blue;

/** The place of the brightest row of a lane at a moment, 0 at the bottom and 1 at the top. */
async function brightest(page: Page, lane: string, seconds: number): Promise<number> {
    const column = await page.evaluate((id, at) => window.laneColumn(id, at), lane, seconds);
    const values = column.map(brightness);
    const greatest = Math.max(...values);
    const rows = values.flatMap((value, y) => (value === greatest ? [y] : []));
    return 1 - ((rows[0] as number) + (rows[rows.length - 1] as number) + 1) / 2 / column.length;
}

describe("the lanes of known sounds", () => {
    let sine: Page;
    let triad: Page;
    let beats: Page;
    const bin = 90; // of constant-Q
    const sineHz = 90 * 2 ** (bin / 36);

    beforeAll(async () => {
        sine = await bench.open(bench.report("sine.wav", wav(tones([sineHz], 4, 0.5))));
        triad = await bench.open(bench.report("triad.wav", wav(tones([261.63, 329.63, 392], 4, 0.2))));
        beats = await bench.open(bench.report("beats.wav", wav(strokes(120, 16))));
        for (const page of [sine, triad, beats]) {
            await readPixels(page);
        }
    }, 120000);
    afterAll(() => bench.close());

    it("are all drawn", async () => {
        await bench.front(beats);
        const kinds = await beats.evaluate(() =>
            window.qelReport?.board.lanes.map(({ info, plot }) => {
                const { left, top, width, height } = plot.bbox;
                const copy = new OffscreenCanvas(width, height).getContext("2d", { willReadFrequently: true });
                copy?.drawImage(plot.ctx.canvas, left, top, width, height, 0, 0, width, height);
                const data = copy?.getImageData(0, 0, width, height).data ?? [];
                const colours = new Set<number>();
                for (let i = 0; i < data.length; i += 4) {
                    colours.add(((data[i] ?? 0) << 16) | ((data[i + 1] ?? 0) << 8) | (data[i + 2] ?? 0));
                }
                return [info.id, colours.size > 2];
            }),
        );
        expect(kinds).toEqual(["waveform", "spectrogram", "constantq", "chroma", "keys", "tempo", "loudness"].map((id) => [id, true]));
        await bench.shot(beats, "beats");
    });

    it("show a sine as one row of constant-Q, at its height", async () => {
        const place = await brightest(await bench.front(sine), "constantq", 2);
        expect(Math.floor(place * 212)).toBe(bin);
        await bench.shot(sine, "sine");
    });

    it("show a sine in the spectrogram at its height, to a bin", async () => {
        const place = await brightest(sine, "spectrogram", 2);
        const mel = (hz: number): number => 2595 * Math.log10(1 + hz / 700);
        const hz = 700 * (10 ** ((place * mel(22050)) / 2595) - 1);
        expect(Math.abs(hz - sineHz)).toBeLessThan(44100 / 1024);
    });

    it("say where a sine is, and how strong", async () => {
        const text = await sine.evaluate((row) => {
            const lane = window.qelReport?.board.lanes.find((other) => other.info.id === "constantq");
            return lane?.valueAt(2, row + 0.5) ?? "";
        }, bin);
        expect(text).toMatch(/^509 Hz, C5: /);
        // Half of full scale is -6 dB; colours tell steps of 60 / 63 dB apart.
        const decibels = Number(/: ≤? ?(\S+) dBFS/.exec(text)?.[1]?.replace("−", "-"));
        expect(Math.abs(decibels + 6.02)).toBeLessThan(1.5);
    });

    it("light C, E and G for a triad of C major", async () => {
        const column = await (await bench.front(triad)).evaluate(() => window.laneColumn("chroma", 2));
        const rows = Array.from({ length: 12 }, (_, i) => {
            const y = Math.floor(column.length * (1 - (i + 0.5) / 12));
            return { note: i, light: brightness(column[y] as number[]) };
        });
        const strongest = rows.sort((a, b) => b.light - a.light).slice(0, 3);
        expect(strongest.map((row) => row.note).sort((a, b) => a - b)).toEqual([0, 4, 7]);
        await bench.shot(triad, "triad");
    });

    it("draw a line on every beat, and beats on the strokes", async () => {
        const beatTimes = await beats.evaluate(() => Array.from(window.qelReport?.marks.find((mark) => mark.id === "beats")?.times ?? []));
        expect(beatTimes.length).toBeGreaterThan(25);
        await bench.front(beats);
        await beats.evaluate(() => window.qelReport?.timeline.show(4, 8));
        await bench.settle(beats);
        for (const time of beatTimes.filter((seconds) => seconds > 4.1 && seconds < 7.9)) {
            const [line, beside] = await beats.evaluate((at) => [window.laneColumn("tempo", at), window.laneColumn("tempo", at + 0.1)], time);
            const reddish = (column: number[][] | undefined): number => (column ?? []).filter(([red = 0, green = 0]) => red - green > 60).length;
            expect(reddish(line)).toBeGreaterThan((line?.length ?? 0) * 0.9);
            expect(reddish(beside)).toBeLessThan((beside?.length ?? 0) * 0.1);
            // A stroke stands every 0.5 s; a line is a pixel of 3.6 ms.
            expect(Math.abs(time - Math.round(time * 2) / 2)).toBeLessThan(0.012);
        }
    });

    it("show the strokes of the waveform under the lines", async () => {
        await beats.evaluate(() => {
            window.qelReport?.marks.forEach((mark) => {
                mark.shown = false;
            });
            window.qelReport?.board.drawAll();
        });
        await bench.settle(beats);
        const isWave = ([red = 255, , blue = 0]: number[]): boolean => blue - red > 40;
        for (const stroke of [4.5, 5, 5.5, 6, 6.5]) {
            const extents = await beats.evaluate((at) => [at - 0.05, at + 0.006].map((time) => window.laneColumn("waveform", time)), stroke);
            const [before, after] = extents.map((column) => column.filter(isWave).length);
            expect(after).toBeGreaterThan((before ?? 0) + 15);
        }
    });

    it("say nothing on the console", () => {
        expect(bench.messages).toEqual([]);
    });
});
