import { execFileSync } from "node:child_process";
import { mkdtempSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { basename, join } from "node:path";
import puppeteer, { type Browser, type BrowserContext, type Page } from "puppeteer-core";
import { afterAll } from "vitest";

/** What the build has made: bin/qel with its template. */
const tool = process.env.QEL_TOOL ?? "";
const program = process.env.QEL_CHROMIUM ?? "/usr/bin/chromium";

const flags = [
    "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
    "--disable-background-networking", "--disable-component-update", "--disable-sync",
];

/** The browser of a file of tests: starting one takes longer than most tests. */
let browser: Promise<Browser> | null = null;
const profile = mkdtempSync(join(tmpdir(), "qel-profile-"));

afterAll(async () => {
    await (await browser)?.close();
    rmSync(profile, { recursive: true, force: true });
});

/** A folder with pages, and a context of the browser, without a network, that opens them from disk. */
export class Bench {
    readonly folder = mkdtempSync(join(tmpdir(), "qel-report-"));
    readonly messages: string[] = [];
    private context: BrowserContext | null = null;

    /** Writes a file and its page; returns the path of the page. */
    report(name: string, content: Buffer, ...options: string[]): string {
        const file = join(this.folder, name);
        writeFileSync(file, content);
        return this.reportFile(file, ...options);
    }

    /** Writes the page of a file that is there; returns its path. */
    reportFile(file: string, ...options: string[]): string {
        const page = join(this.folder, `${basename(file)}.html`);
        this.qel("report", file, "--output", page, ...options);
        return page;
    }

    qel(...commands: string[]): string {
        return execFileSync(tool, commands, { encoding: "utf8", stdio: ["ignore", "pipe", "pipe"] });
    }

    /** Opens a page and waits for its pictures. What it says on the console is kept. */
    async open(path: string, width = 1280, height = 1800): Promise<Page> {
        browser ??= puppeteer.launch({ executablePath: program, args: flags, userDataDir: profile });
        this.context ??= await (await browser).createBrowserContext();
        const page = await this.context.newPage();
        page.on("console", (message) => this.messages.push(message.text()));
        page.on("pageerror", (error) => this.messages.push(String(error)));
        page.on("dialog", (dialog) => {
            this.messages.push(`dialog ${dialog.message()}`);
            void dialog.dismiss();
        });
        page.on("request", (request) => {
            if (!/^(file|data|blob):/.test(request.url())) {
                this.messages.push(`request ${request.url().slice(0, 80)}`);
            }
        });
        await page.setOfflineMode(true);
        await page.setViewport({ width, height });
        await page.goto(`file://${path.split("/").map(encodeURIComponent).join("/")}`);
        await this.settle(page);
        return page;
    }

    /** Two pictures of the screen later everything that was asked for is drawn. */
    async settle(page: Page): Promise<void> {
        await page.evaluate(async () => {
            const next = (): Promise<number> => new Promise(requestAnimationFrame);
            for (let i = 0; i < 4; i++) {
                await next();
            }
            await new Promise((done) => setTimeout(done, 120));
            await next();
        });
    }

    /** Runs in a page as the one that is seen: others get no pictures of the screen. */
    async front(page: Page): Promise<Page> {
        await page.bringToFront();
        await this.settle(page);
        return page;
    }

    /** Keeps what a page looks like where QEL_SHOTS names a folder. */
    async shot(page: Page, name: string): Promise<void> {
        const folder = process.env.QEL_SHOTS;
        if (folder) {
            await page.screenshot({ path: join(folder, `${name}.png`) });
        }
    }

    async close(): Promise<void> {
        await this.context?.close();
        rmSync(this.folder, { recursive: true, force: true });
    }
}

declare global {
    interface Window {
        /** Pixels of a lane's canvas, in coordinates of its plot's inside. */
        laneColumn(id: string, seconds: number): number[][];
    }
}

/** Adds to a page what reads its canvases. */
export async function readPixels(page: Page): Promise<void> {
    await page.evaluate(() => {
        window.laneColumn = (id, seconds) => {
            const lane = window.qelReport?.board.lanes.find((other) => other.info.id === id);
            if (!lane) {
                throw new Error(id);
            }
            const { top, height } = lane.plot.bbox;
            const x = Math.round(lane.plot.valToPos(seconds, "x", true));
            const copy = new OffscreenCanvas(1, height).getContext("2d", { willReadFrequently: true });
            copy?.drawImage(lane.plot.ctx.canvas, x, top, 1, height, 0, 0, 1, height);
            const data = copy?.getImageData(0, 0, 1, height).data ?? new Uint8ClampedArray();
            return Array.from({ length: height }, (_, y) => Array.from(data.slice(4 * y, 4 * y + 3)));
        };
    });
}

/** How many colours the inside of each lane has. */
export function colourCounts(page: Page): Promise<[string, number][]> {
    return page.evaluate(
        () =>
            window.qelReport?.board.lanes.map(({ info, plot }): [string, number] => {
                const { left, top, width, height } = plot.bbox;
                const copy = new OffscreenCanvas(width, height).getContext("2d", { willReadFrequently: true });
                copy?.drawImage(plot.ctx.canvas, left, top, width, height, 0, 0, width, height);
                const data = copy?.getImageData(0, 0, width, height).data ?? [];
                const colours = new Set<number>();
                for (let i = 0; i < data.length; i += 4) {
                    colours.add(((data[i] ?? 0) << 16) | ((data[i + 1] ?? 0) << 8) | (data[i + 2] ?? 0));
                }
                return [info.id, colours.size];
            }) ?? [],
    );
}
