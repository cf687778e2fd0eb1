// Pages of real recordings: they open with the network off, say nothing, show every lane, and axe-core
// finds nothing. QEL_RECORDINGS=FOLDER names the recordings; script/check-recordings runs this.

import { existsSync, readFileSync, readdirSync } from "node:fs";
import { join } from "node:path";
import { afterAll, describe, expect, it } from "vitest";
import type {} from "../../src/main";
import { violations } from "../browser/axe";
import { Bench, colourCounts } from "../browser/chromium";

const folder = process.env.QEL_RECORDINGS ?? "";
const audio = /\.(wav|flac|mp3|ogg|oga|opus|m4a|aac|aiff?|caf|wv|mka)$/i;
const recordings = folder !== "" && existsSync(folder) ? readdirSync(folder, { recursive: true }).map(String).filter((name) => audio.test(name)).sort() : [];

describe.skipIf(recordings.length === 0)("the page of a recording", () => {
    const bench = new Bench();
    afterAll(() => bench.close());

    for (const name of recordings) {
        it(`shows ${name}`, async () => {
            const path = bench.reportFile(join(folder, name));
            expect(readFileSync(path).length).toBeGreaterThan(100000);
            const page = await bench.open(path);
            await page.waitForFunction(() => document.querySelectorAll(".lane canvas").length >= 7, { timeout: 30000 });
            await bench.settle(page);
            const counts = await colourCounts(page);
            expect(counts.map(([id]) => id)).toEqual(["waveform", "spectrogram", "constantq", "chroma", "keys", "tempo", "loudness"]);
            for (const [id, colours] of counts) {
                const says = await page.$eval(`#lane-${id}`, (body) => body.querySelector(".empty")?.textContent ?? "");
                expect(colours > 2 || says !== "", `${id} has ${colours} colours`).toBe(true);
            }
            expect(await violations(page)).toEqual([]);
            expect(bench.messages).toEqual([]);
            await bench.shot(page, name.replace(/[^\w.-]/g, "_"));
            await page.close();
        }, 300000);
    }
});

it.runIf(recordings.length === 0)("is skipped: QEL_RECORDINGS names no folder with recordings", () => {
    expect(recordings).toEqual([]);
});
