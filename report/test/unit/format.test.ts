import { describe, expect, it } from "vitest";
import { digitsFor, hertzText, noteText, numberText, percent, timeText } from "../../src/format";

describe("format", () => {
    it("writes times as minutes and seconds, with hours where there are some", () => {
        expect(timeText(0)).toBe("0:00");
        expect(timeText(62.3456, 3)).toBe("1:02.346");
        expect(timeText(3600)).toBe("1:00:00");
        expect(timeText(59.96, 1)).toBe("1:00.0");
        expect(timeText(-1)).toBe("0:00");
    });
    it("names the notes of equal temperament", () => {
        expect(noteText(440)).toBe("A4");
        expect(noteText(261.63)).toBe("C4");
        expect(noteText(27.5)).toBe("A0");
    });
    it("never calls an answer wholly sure", () => {
        expect(percent(1)).toBe("99 %");
        expect(percent(0.284)).toBe("28 %");
    });
    it("writes true minus signs, and no negative zero", () => {
        expect(numberText(-14.26)).toBe("−14.3");
        expect(numberText(-0.04)).toBe("0.0");
    });
    it("changes from Hz to kHz at 1000", () => {
        expect(hertzText(999)).toBe("999 Hz");
        expect(hertzText(16000)).toBe("16.00 kHz");
    });
    it("gives shorter stretches more digits", () => {
        expect([300, 60, 5, 0.5].map(digitsFor)).toEqual([0, 1, 2, 3]);
    });
});
