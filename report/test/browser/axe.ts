import { readFileSync } from "node:fs";
import { join } from "node:path";
import type { Page } from "puppeteer-core";

const axe = readFileSync(join(__dirname, "../../node_modules/axe-core/axe.min.js"), "utf8");

/** What axe-core finds against a page. It is run past the page's policy, as extensions are. */
export async function violations(page: Page): Promise<string[]> {
    await page.evaluate(axe);
    return page.evaluate(async () => {
        const axeCore = (window as unknown as { axe: { run(): Promise<{ violations: { id: string; nodes: { html: string }[] }[] }> } }).axe;
        const found = await axeCore.run();
        return found.violations.map((violation) => `${violation.id}: ${violation.nodes[0]?.html}`);
    });
}
