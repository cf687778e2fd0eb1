/// <reference types="vitest/config" />
// Builds report.html: one file, its script and style inside, and a policy that allows these two
// alone. The script is a classic one: pages opened from disk cannot load modules.

import { createHash } from "node:crypto";
import { readFileSync } from "node:fs";
import { resolve } from "node:path";
import { defineConfig, type Plugin } from "vite";

const hashOf = (text: string): string => `'sha256-${createHash("sha256").update(text).digest("base64")}'`;

const policyFor = (script: string, style: string): string =>
    [
        "default-src 'none'",
        `script-src ${hashOf(script)}`,
        `style-src ${hashOf(style)}`,
        "img-src data:",
        "media-src blob:",
        "base-uri 'none'",
        "form-action 'none'",
    ].join("; ");

/** Puts the built script and style into the page, and leaves the page as the only output. */
function oneFile(): Plugin {
    return {
        name: "one-file",
        enforce: "post",
        generateBundle(_options, bundle) {
            let script = "";
            let style = "";
            for (const [name, part] of Object.entries(bundle)) {
                if (part.type === "chunk") {
                    script = part.code.trim().replace(/<\/script/gi, "<\\/script");
                } else if (name.endsWith(".css")) {
                    style = part.source.toString().trim();
                }
                delete bundle[name];
            }
            const page = readFileSync(resolve(__dirname, "report.html"), "utf8")
                .replace("{{policy}}", () => policyFor(script, style))
                .replace("{{style}}", () => style)
                .replace("{{script}}", () => script);
            this.emitFile({ type: "asset", fileName: "report.html", source: page });
        },
    };
}

export default defineConfig({
    build: {
        outDir: process.env.QEL_REPORT_OUTPUT ?? "dist",
        emptyOutDir: false,
        target: "es2020",
        modulePreload: false,
        cssCodeSplit: false,
        rollupOptions: {
            input: resolve(__dirname, "src/main.ts"),
            output: { format: "iife", inlineDynamicImports: true },
        },
    },
    plugins: [oneFile()],
    test: { include: ["**/*.test.ts"], minWorkers: 1, maxWorkers: 2, testTimeout: 60000 },
});
