import { describe, expect, it } from "vitest";
import { Timeline } from "../../src/timeline";

describe("Timeline", () => {
    it("keeps the moment under the pointer in its place while it zooms", () => {
        const timeline = new Timeline(100);
        timeline.zoom(4, 20);
        expect(timeline.span).toBeCloseTo(25, 9);
        expect((20 - timeline.begin) / timeline.span).toBeCloseTo(0.2, 9);
    });
    it("stays within the song", () => {
        const timeline = new Timeline(100);
        timeline.show(-10, 20);
        expect([timeline.begin, timeline.end]).toEqual([0, 30]);
        timeline.pan(1000);
        expect([timeline.begin, timeline.end]).toEqual([70, 100]);
        timeline.zoom(0.001, 50);
        expect([timeline.begin, timeline.end]).toEqual([0, 100]);
    });
    it("has a shortest stretch, which is the song where that is shorter", () => {
        const timeline = new Timeline(100);
        timeline.zoom(1e9, 50);
        expect(timeline.span).toBeCloseTo(Timeline.shortest, 9);
        const short = new Timeline(0.01);
        short.zoom(100, 0);
        expect(short.span).toBeCloseTo(0.01, 9);
    });
    it("follows the cursor by a screen", () => {
        const timeline = new Timeline(100);
        timeline.show(0, 10);
        timeline.moveCursor(10.5, true);
        expect([timeline.begin, timeline.end]).toEqual([10.5, 20.5]);
        timeline.moveCursor(500);
        expect(timeline.cursor).toBe(100);
        expect(timeline.begin).toBe(10.5);
    });
    it("tells its listeners", () => {
        const timeline = new Timeline(10);
        let told = 0;
        timeline.onChange(() => told++);
        timeline.pan(1);
        timeline.moveCursor(3);
        expect(told).toBe(2);
    });
});
