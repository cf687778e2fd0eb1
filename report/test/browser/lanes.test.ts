import type {} from "../../src/main";
import type { Page } from "puppeteer-core";
import { afterAll, beforeAll, describe, expect, it } from "vitest";
import { Bench, colourCounts, readPixels } from "./chromium";
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
        const kinds = (await colourCounts(beats)).map(([id, colours]) => [id, colours > 2]);
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

    /** Where a colour is in a column of a lane, as values of its axis. */
    const valuesOf = (page: Page, lane: string, seconds: number, colour: string): Promise<number[]> =>
        page.evaluate((id, at, name) => {
            const found = window.qelReport?.board.lanes.find((other) => other.info.id === id);
            const probe = new OffscreenCanvas(1, 1).getContext("2d");
            if (!found || !probe) {
                throw new Error(id);
            }
            probe.fillStyle = getComputedStyle(document.documentElement).getPropertyValue(`--${name}`).trim();
            probe.fillRect(0, 0, 1, 1);
            const wanted = probe.getImageData(0, 0, 1, 1).data;
            const { top } = found.plot.bbox;
            return window.laneColumn(id, at).flatMap((pixel, y) => {
                const isIt = pixel.every((part, i) => Math.abs(part - (wanted[i] ?? 0)) < 40);
                return isIt ? [found.plot.posToVal(top + y + 0.5, "y", true)] : [];
            });
        }, lane, seconds, colour);

    it("draw the tempo of the strokes at 120 BPM", async () => {
        await bench.front(beats);
        const values = await valuesOf(beats, "tempo", 6.25, "curve2");
        expect(values.length).toBeGreaterThan(0);
        values.forEach((value) => expect(Math.abs(value - 120)).toBeLessThan(3));
    });

    it("draw the loudness of a sine at its height", async () => {
        await bench.front(sine);
        // Half of full scale in one channel: -0.691 + 10 lg(0.5² / 2) + the filter's 0.1 dB at 509 Hz.
        const values = await valuesOf(sine, "loudness", 2, "curve");
        expect(values.length).toBeGreaterThan(0);
        values.forEach((value) => expect(Math.abs(value - -9.7)).toBeLessThan(1));
    });

    it("fill the lane of keys with the hue of the key", async () => {
        await bench.front(triad);
        const name = await triad.evaluate(() => window.qelReport?.board.lanes.find((lane) => lane.info.id === "keys")?.valueAt(2, null));
        expect(name).toBe("C major");
        // Blue, 200 degrees, and light: its blue is above its green, and that above its red.
        const column = await triad.evaluate(() => window.laneColumn("keys", 3));
        const filled = column.filter(([red = 0, green = 0, blue = 0]) => blue - red > 40 && blue > green && green > red);
        expect(filled.length).toBeGreaterThan(column.length * 0.9);
    });

    it("have a legend where there are two curves, and only while they are open", async () => {
        await bench.front(beats);
        const shown = (): Promise<(string | null)[]> => beats.$$eval(".legend:not([hidden])", (found) => found.map((key) => key.textContent));
        expect(await shown()).toEqual(["from what was heard so far", "from four beats"]);
        await beats.click("[aria-controls=lane-tempo]");
        expect(await shown()).toEqual([]);
        await beats.click("[aria-controls=lane-tempo]");
    });

    it("hide the switch of an overlay while its lane is folded", async () => {
        const isHidden = (): Promise<boolean> => beats.$eval(".lane .toggle", (button) => (button as HTMLElement).hidden);
        expect(await isHidden()).toBe(false);
        await beats.click("[aria-controls=lane-spectrogram]");
        expect(await isHidden()).toBe(true);
        await beats.click("[aria-controls=lane-spectrogram]");
        expect(await isHidden()).toBe(false);
    });

    it("say why they are empty", async () => {
        const says = async (page: Page): Promise<string[]> => page.$$eval(".empty", (found) => found.map((text) => text.closest(".body")?.id ?? ""));
        const silence = await bench.open(bench.report("silence.wav", wav(new Float32Array(3 * 44100))));
        expect(await says(silence)).toEqual(["waveform", "spectrogram", "constantq", "chroma", "keys", "tempo", "loudness"].map((id) => `lane-${id}`));
        await bench.shot(silence, "silence");
        const fast = await bench.open(bench.report("fast.wav", wav(tones([1000], 3, 0.5), "", 192000)));
        expect(await says(fast)).toEqual(["lane-keys", "lane-tempo"]);
        await bench.shot(fast, "fast");
        expect(await says(beats)).toEqual(["lane-keys"]);
    }, 60000);

    it("show the strokes of the waveform under the lines", async () => {
        await bench.front(beats);
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
