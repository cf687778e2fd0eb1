// Takes a picture of a page from disk: node picture.mjs PAGE.html PICTURE.png

import { resolve } from "node:path";
import { mkdtempSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import puppeteer from "puppeteer-core";

const [, , page, picture] = process.argv;
const profile = mkdtempSync(join(tmpdir(), "qel-picture-"));
const browser = await puppeteer.launch({
    executablePath: process.env.QEL_CHROMIUM ?? "/usr/bin/chromium",
    args: ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
        "--disable-background-networking", "--disable-component-update", "--disable-sync"],
    userDataDir: profile,
});
try {
    const tab = await browser.newPage();
    await tab.setOfflineMode(true);
    await tab.setViewport({ width: 1200, height: 1560 });
    await tab.goto(`file://${resolve(page)}`);
    await tab.evaluate(() => new Promise((done) => setTimeout(done, 1000)));
    await tab.screenshot({ path: picture });
} finally {
    await browser.close();
    rmSync(profile, { recursive: true, force: true });
}
