// Measures a page from disk: node measure.mjs PAGE.html
// Prints how long it takes to open, how many pictures per second it shows while it moves, and the memory
// of its tab.

import { execFileSync } from "node:child_process";
import { mkdtempSync, readFileSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { join, resolve } from "node:path";
import puppeteer from "puppeteer-core";

/** Resident and proportional memory of the process that shows the page, in MB. */
function memoryOf(profile) {
    const all = execFileSync("ps", ["-eo", "pid,args"], { encoding: "utf8" });
    const pids = all.split("\n").filter((line) => line.includes("--type=renderer") && line.includes(profile));
    return pids.map((line) => {
        const pid = line.trim().split(" ")[0];
        const text = readFileSync(`/proc/${pid}/smaps_rollup`, "utf8");
        const of = (name) => Number(new RegExp(`^${name}: +(\\d+)`, "m").exec(text)?.[1] ?? 0) / 1000;
        return { resident: of("Rss"), proportional: of("Pss") };
    }).sort((a, b) => b.resident - a.resident)[0];
}

const profile = mkdtempSync(join(tmpdir(), "qel-measure-"));
const browser = await puppeteer.launch({
    executablePath: process.env.QEL_CHROMIUM ?? "/usr/bin/chromium",
    args: ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
        "--disable-background-networking", "--disable-component-update", "--disable-sync"],
    userDataDir: profile,
    protocolTimeout: 600000,
});
try {
    const tab = await browser.newPage();
    await tab.setOfflineMode(true);
    await tab.setViewport({ width: 1280, height: 1400 });
    const client = await tab.createCDPSession();
    await client.send("Performance.enable", { timeDomain: "threadTicks" });
    // Seconds of the processor that the page's thread took: they do not depend on what else runs.
    const worked = async () => (await client.send("Performance.getMetrics")).metrics.find(({ name }) => name === "TaskDuration").value;
    const begin = Date.now();
    await tab.goto(`file://${resolve(process.argv[2])}`, { timeout: 300000 });
    await tab.evaluate(() => new Promise(requestAnimationFrame));
    const opened = (Date.now() - begin) / 1000;
    const openedProcessor = await worked();
    const rates = await tab.evaluate(async () => {
        const { timeline } = window.qelReport;
        const move = async (share) => {
            timeline.show(0, timeline.duration * share);
            await new Promise((done) => setTimeout(done, 500));
            const start = performance.now();
            let pictures = 0;
            while (performance.now() - start < 3000) {
                timeline.pan(timeline.span / 120);
                await new Promise(requestAnimationFrame);
                pictures++;
            }
            window.drawn = (window.drawn ?? 0) + pictures;
            return Math.round(pictures / ((performance.now() - start) / 1000));
        };
        return { aQuarter: await move(0.25), aTwentieth: await move(0.05), aHundredth: await move(0.01) };
    });
    const perPicture = ((await worked()) - openedProcessor) / (await tab.evaluate(() => window.drawn));
    console.log(JSON.stringify({ openedSeconds: opened, openedProcessorSeconds: openedProcessor, processorMillisecondsPerPicture: 1000 * perPicture, picturesPerSecond: rates, megabytes: memoryOf(profile) }));
} finally {
    await browser.close();
    rmSync(profile, { recursive: true, force: true });
}
