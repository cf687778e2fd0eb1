import { existsSync, readFileSync, readdirSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import type { Page } from "puppeteer-core";
import { afterAll, beforeAll, describe, expect, it } from "vitest";
import type {} from "../../src/main";
import { violations } from "./axe";
import { Bench } from "./chromium";
import { strokes, wav } from "./sounds";

const bench = new Bench();
const view = (page: Page): Promise<number[]> =>
    page.evaluate(() => {
        const timeline = window.qelReport?.timeline;
        return [timeline?.begin ?? 0, timeline?.end ?? 0, timeline?.cursor ?? 0];
    });

describe("the page of a song", () => {
    let page: Page;

    beforeAll(async () => {
        page = await bench.open(bench.report("strokes.wav", wav(strokes(120, 16))));
    }, 120000);
    afterAll(() => bench.close());

    it("opens with the whole song", async () => {
        expect(await view(page)).toEqual([0, 16, 0]);
        expect(await page.title()).toBe("strokes.wav");
    });

    it("zooms and moves by keys", async () => {
        await page.focus(".ruler");
        await page.keyboard.press("ArrowRight");
        expect((await view(page))[2]).toBeCloseTo(0.16, 5);
        await page.keyboard.press("+");
        await page.keyboard.press("+");
        const [begin = 0, end = 0] = await view(page);
        expect(end - begin).toBeCloseTo(4, 5);
        await page.keyboard.press("PageDown");
        expect((await view(page))[0]).toBeCloseTo(begin + 4, 5);
        await page.keyboard.press("Home");
        expect((await view(page))[2]).toBe(0);
        await page.keyboard.press("0");
        expect((await view(page)).slice(0, 2)).toEqual([0, 16]);
    });

    it("moves with the pointer, and zooms with the wheel where the pointer is", async () => {
        const box = await page.$eval(".lane .u-over", (over) => {
            const { x, y, width } = over.getBoundingClientRect();
            return { x, y, width };
        });
        const at = box.x + box.width / 2;
        await page.mouse.move(at, box.y + 20);
        await page.keyboard.down("Control");
        await page.mouse.wheel({ deltaY: -300 });
        await page.keyboard.up("Control");
        await bench.settle(page);
        const [begin = 0, end = 0] = await view(page);
        expect(end - begin).toBeCloseTo(16 / Math.E, 1);
        expect((begin + end) / 2).toBeCloseTo(8, 1);
        await page.mouse.down();
        await page.mouse.move(at - 100, box.y + 20, { steps: 4 });
        await page.mouse.up();
        expect((await view(page))[0]).toBeCloseTo(begin + ((end - begin) * 100) / box.width, 1);
        await page.evaluate(() => window.qelReport?.timeline.showAll());
        await bench.settle(page);
        await page.mouse.click(box.x + box.width / 4, box.y + 20);
        expect((await view(page))[2]).toBeCloseTo(4, 1);
    });

    it("tells the values under the pointer, with units", async () => {
        const places = await page.$$eval(".lane .u-over", (overs) => overs.map((over) => {
            const { x, y, width, height } = over.getBoundingClientRect();
            return { x: x + width / 2, y: y + height / 2 };
        }));
        await page.mouse.move(places[1]?.x ?? 0, places[1]?.y ?? 0);
        await bench.settle(page);
        const texts = await page.$$eval(".readout", (outputs) => outputs.map((output) => output.textContent));
        expect(texts[0]).toMatch(/^0:0[78]\.\d+ peak .* dBFS, level .*/);
        expect(texts[1]).toMatch(/Hz: .*dBFS|kHz: .*dBFS/);
        expect(texts[5]).toMatch(/BPM/);
        expect(texts[6]).toMatch(/LUFS/);
    });

    it("folds a lane by its heading, with the mouse or a key", async () => {
        await page.click("[aria-controls=lane-chroma]");
        expect(await page.$eval("#lane-chroma", (body) => (body as HTMLElement).hidden)).toBe(true);
        await page.focus("[aria-controls=lane-chroma]");
        await page.keyboard.press("Enter");
        expect(await page.$eval("[aria-controls=lane-chroma]", (button) => button.getAttribute("aria-expanded"))).toBe("true");
    });

    it("has a table of values behind every lane", async () => {
        for (const id of await page.evaluate(() => window.qelReport?.board.lanes.map((lane) => lane.info.id) ?? [])) {
            await page.click(`#lane-${id} summary`);
            await page.waitForSelector(`#lane-${id} tbody`);
            const cells = await page.$$eval(`#lane-${id} tbody td`, (found) => found.length);
            expect(cells, id).toBeGreaterThan(id === "keys" ? -1 : 40);
        }
        await bench.shot(page, "tables");
        expect(await violations(page)).toEqual([]);
        await page.$$eval("details[open] > summary", (found) => found.forEach((summary) => (summary as HTMLElement).click()));
    }, 60000);

    it("plays, clicks and loops a bar", async () => {
        await page.focus(".ruler");
        await page.keyboard.press("Home");
        await page.keyboard.press("c");
        await page.keyboard.press("Space");
        await page.waitForFunction(() => (window.qelReport?.timeline.cursor ?? 0) > 0.4, { timeout: 20000 });
        expect(await page.evaluate(() => window.qelReport?.player?.clicksOn)).toBe(true);
        await page.evaluate(() => window.qelReport?.player?.seek(5.2));
        await page.keyboard.press("l");
        const loop = await page.evaluate(() => window.qelReport?.player?.looped);
        expect((loop?.[1] ?? 0) - (loop?.[0] ?? 0)).toBeCloseTo(2, 1);
        await page.waitForFunction((end) => (window.qelReport?.timeline.cursor ?? 0) > end - 0.4, { timeout: 20000 }, loop?.[1] ?? 0);
        await page.waitForFunction((end) => (window.qelReport?.timeline.cursor ?? 9) < end - 0.6, { timeout: 20000 }, loop?.[1] ?? 0);
        await page.keyboard.press("Space");
        expect(await page.evaluate(() => window.qelReport?.player?.isPlaying)).toBe(false);
        await page.keyboard.press("c");
        await page.keyboard.press("l");
    }, 90000);

    it("places clicks within a millisecond of the beats", async () => {
        const { heard, wanted } = await page.evaluate(async () => {
            const report = window.qelReport;
            const marks = (report?.marks ?? []).filter((mark) => mark.id !== "onsets");
            const rate = 48000;
            const samples = (await report?.renderClicks(marks, 16, rate)) ?? new Float32Array();
            const starts: number[] = [];
            for (let i = 1; i < samples.length; i++) {
                const isLoud = Math.abs(samples[i] ?? 0) > 0.1;
                if (isLoud && samples.subarray(Math.max(i - 480, 0), i).every((sample) => Math.abs(sample) < 0.02)) {
                    starts.push(i / rate);
                }
            }
            return { heard: starts, wanted: Array.from(marks.find((mark) => mark.id === "beats")?.times ?? []) };
        });
        const inside = wanted.filter((time) => time > 0.001);
        expect(heard.length).toBe(inside.length);
        heard.forEach((time, i) => expect(Math.abs(time - (inside[i] ?? 0))).toBeLessThan(0.001));
    });

    it("fits paper", async () => {
        await page.emulateMediaType("print");
        const pdf = await page.pdf({ format: "A4", printBackground: true });
        expect(Buffer.from(pdf).subarray(0, 5).toString()).toBe("%PDF-");
        expect(pdf.length).toBeGreaterThan(30000);
        if (process.env.QEL_SHOTS) {
            writeFileSync(join(process.env.QEL_SHOTS, "print.pdf"), pdf);
        }
        await page.emulateMediaType("screen");
    });

    for (const [scheme, width] of [["light", 1280], ["dark", 1280], ["light", 400], ["dark", 400]] as const) {
        it(`is accessible in ${scheme}, ${width} pixels wide`, async () => {
            await page.setViewport({ width, height: 1400 });
            await page.emulateMediaFeatures([{ name: "prefers-color-scheme", value: scheme }]);
            await bench.settle(page);
            expect(await violations(page)).toEqual([]);
            const overflow = await page.evaluate(() => document.documentElement.scrollWidth - window.innerWidth);
            expect(overflow).toBeLessThanOrEqual(0);
            await bench.shot(page, `${scheme}-${width}`);
        }, 60000);
    }

    it("says nothing on the console", () => {
        expect(bench.messages).toEqual([]);
    });
});

describe("pages of hostile files", () => {
    const hostile = new Bench();
    afterAll(() => hostile.close());

    it("show names and tags as text, and run nothing of them", async () => {
        const tag = `</script><script>alert(1)</script><img src=x onerror=alert(2)>${"x".repeat(1000000)}`;
        const name = "<img src=x onerror=alert(3)>&amp;\"'.wav";
        const path = hostile.report(name, wav(strokes(120, 3), tag));
        const page = await hostile.open(path);
        expect(await page.$$eval("img, script:not([id])", (found) => found.length)).toBe(1); // the page's own script
        expect(await page.$eval("h1", (heading) => heading.textContent)).toMatch(/^<\/script><script>alert\(1\)<\/script>.*\.\.\.$/);
        expect(await page.$eval(".subtitle", (text) => text.textContent)).toContain(name);
        expect(await page.$eval("h1", (heading) => heading.textContent?.length)).toBeLessThan(400);
        await hostile.shot(page, "hostile");
        expect(hostile.messages).toEqual([]);
    });

    it("have a policy that stops scripts that are put in", async () => {
        const path = hostile.report("plain.wav", wav(strokes(120, 3)), "--no-audio");
        const text = readFileSync(path, "utf8");
        expect(text).toMatch(/http-equiv="Content-Security-Policy" content="default-src 'none'; script-src 'sha256-/);
        const broken = join(hostile.folder, "broken.html");
        writeFileSync(broken, text.replace("<div id=\"app\">", "<script>window.ran = true</script><div id=\"app\">"));
        const page = await hostile.open(broken);
        expect(await page.evaluate(() => (window as unknown as { ran?: boolean }).ran)).toBeUndefined();
        expect(hostile.messages.length).toBeGreaterThan(0); // Chromium tells of the violation
    });
});

describe("two runs of a song", () => {
    const both = new Bench();
    afterAll(() => both.close());

    it("stand beneath each other on one axis", async () => {
        const file = join(both.folder, "song.wav");
        writeFileSync(file, wav(strokes(120, 16)));
        const run = JSON.parse(both.qel("read", file, "--format", "json", "--beats", "--key-segments", "--quiet"));
        const beats: { seconds: number; position: number }[] = run.files[0].beats;
        // Another run: every second beat, all of them 30 ms late, and another key.
        run.files[0].beats = beats.filter((_, i) => i % 2 === 0).map((beat, i) => ({ ...beat, seconds: beat.seconds + 0.03, position: (i % 2) + 1 }));
        run.files[0].tempo_bpm = 60;
        run.files[0].key_segments = [{ begin_seconds: 0, end_seconds: 16, key: "Bb major" }];
        run.files[0].key = "Bb major";
        const other = join(both.folder, "old <b>.json");
        writeFileSync(other, JSON.stringify(run));
        const page = await both.open(both.reportFile(file, "--compare", other), 1280, 2200);
        const ids = await page.evaluate(() => window.qelReport?.board.lanes.map((lane) => lane.info.id));
        expect(ids).toEqual(["waveform", "bars", "bars-0", "spectrogram", "constantq", "chroma", "keys", "keys-0", "tempo", "tempo-0", "loudness"]);
        const cells = await page.$$eval(".runs tr", (rows) => rows.map((row) => Array.from(row.children, (cell) => cell.textContent)));
        expect(cells[0]).toEqual(["Reading", "This run", "old <b>.json (qel 0.1.0)"]);
        expect(cells[1]?.[2]).toBe("60.00 BPM");
        expect(cells[2]?.[2]).toBe("B♭ major");
        expect(cells[4]).toEqual(["Beats", String(beats.length), String(run.files[0].beats.length)]);
        expect(cells[5]?.[2]).toBe("100 %");
        const says = await page.evaluate(() => window.qelReport?.board.lanes.filter((lane) => /^(keys|tempo)-0$/.test(lane.info.id)).map((lane) => lane.valueAt(8, null)));
        expect(says?.[0]).toBe("B♭ major");
        expect(Number(/^[\d.]+/.exec(says?.[1] ?? "")?.[0])).toBeCloseTo(60, 0);
        // One axis for both tempi.
        const ranges = await page.evaluate(() => window.qelReport?.board.lanes.filter((lane) => lane.info.id.startsWith("tempo")).map(({ plot }) => [plot.scales.y?.min, plot.scales.y?.max]));
        expect(ranges?.[0]).toEqual(ranges?.[1]);
        expect(await violations(page)).toEqual([]);
        await both.shot(page, "compare");
        expect(both.messages).toEqual([]);
    }, 120000);
});

describe("the table of songs", () => {
    const several = new Bench();
    afterAll(() => several.close());

    it("sorts, links to every page, and tells what could not be read", async () => {
        for (const [name, bpm, seconds] of [["slow #1?.wav", 80, 10], ["fast.wav", 150, 8]] as const) {
            writeFileSync(join(several.folder, name), wav(strokes(bpm, seconds)));
        }
        writeFileSync(join(several.folder, "no.wav"), "no audio");
        const files = ["slow #1?.wav", "fast.wav", "no.wav"].map((name) => join(several.folder, name));
        const index = join(several.folder, "songs.html");
        expect(() => several.qel("report", ...files, "--output", index)).toThrow(); // status 1 for the third
        expect(existsSync(index)).toBe(true);
        expect(readdirSync(join(several.folder, "songs-pages")).length).toBe(2);
        const page = await several.open(index);
        const names = (): Promise<(string | null)[]> => page.$$eval("tbody th", (cells) => cells.map((cell) => cell.textContent));
        await page.click("thead th:nth-child(2) button");
        expect(await names()).toEqual(["fast.wav", "slow #1?.wav", "no.wav"]);
        await page.click("thead th:nth-child(2) button");
        expect(await names()).toEqual(["slow #1?.wav", "fast.wav", "no.wav"]);
        expect(await page.$eval("thead th:nth-child(2)", (head) => head.getAttribute("aria-sort"))).toBe("descending");
        expect(await violations(page)).toEqual([]);
        await several.shot(page, "index");
        await Promise.all([page.waitForNavigation(), page.click("tbody tr:first-child a")]);
        expect(await page.title()).toBe("slow #1?.wav");
        expect(several.messages).toEqual([]);
    }, 120000);
});
