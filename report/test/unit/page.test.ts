import { describe, expect, it } from "vitest";
import { axisOf } from "../../src/axis";
import { bytesOf } from "../../src/base64";
import { cardEntries } from "../../src/card";
import { rangeOf } from "../../src/curvesLane";
import type { IndexRow, SongInfo } from "../../src/data";
import { keyText } from "../../src/format";
import { columns, linkTo, sorted } from "../../src/indexPage";
import { lanes } from "../../src/lanes";
import { hueOf } from "../../src/stripLane";

const song: SongInfo = {
    name: "a.wav", title: "", artist: "", album: "", seconds: 61.5, sampleRateHz: 44100, channels: 2,
    container: "wav", codec: "pcm_s16le", bytes: 1e7, warnings: [],
    readings: {
        tempo: { bpm: 120, isSteady: true, alternativeBpm: 60, strength: 0.8 },
        bars: { beatsPerBar: 4, strength: 0.3 },
        key: { main: "F# minor", runnerUp: "A major", strength: 0.9, segments: [] },
        loudness: { integratedLufs: -14.2, rangeLu: null, truePeakDbtp: -1, samplePeakDbfs: -1.2 },
        bandwidth: { cutoffHz: null },
    },
};

const laneOf = (id: string) => {
    const lane = lanes.find((other) => other.id === id);
    if (!lane) {
        throw new Error(id);
    }
    return lane;
};

describe("base64", () => {
    it("gives the bytes of RFC 4648's examples", () => {
        const text = (code: string): string => String.fromCharCode(...bytesOf(code));
        expect([text(""), text("Zg=="), text("Zm8="), text("Zm9vYmFy")]).toEqual(["", "f", "fo", "foobar"]);
    });
});

describe("axisOf", () => {
    it("has the pitches of constant-Q 36 to the octave", () => {
        const axis = axisOf(laneOf("constantq"), 44100);
        expect(axis.placeOf(90)).toBeCloseTo(0.5, 9);
        expect(axis.placeOf(180)).toBeCloseTo(36.5, 9);
        expect(axis.text(36.2)).toBe("180 Hz, F♯3");
    });
    it("ends mel at half the rate", () => {
        const axis = axisOf(laneOf("spectrogram"), 44100);
        expect(axis.placeOf(22050)).toBeCloseTo(192, 9);
        expect(axis.ticks.every((tick) => tick.row >= 0 && tick.row <= 192)).toBe(true);
        expect(axisOf(laneOf("spectrogram"), 8000).ticks.map((tick) => tick.label)).toEqual(["0", "500", "1k", "2k"]);
    });
    it("names the rows of chroma", () => {
        const axis = axisOf(laneOf("chroma"), 44100);
        expect([axis.text(0.2), axis.text(4.5), axis.text(11.9)]).toEqual(["C", "E", "B"]);
    });
});

describe("the card", () => {
    it("says what was found, and how sure it is", () => {
        const entries = cardEntries(song);
        expect(entries.map((entry) => entry.label)).toEqual(["Tempo", "Key", "Meter", "Loudness", "Bandwidth", "Length", "Format"]);
        expect(entries[0]).toMatchObject({ value: "120.00 BPM", more: "or 60.0 BPM", sure: "Right with a chance of about 80 %." });
        expect(entries[1]?.value).toBe("F♯ minor");
        expect(entries[2]?.sure).toMatch(/^Not clear/);
        expect(entries[3]).toMatchObject({ value: "−14.2 LUFS", more: "true peak −1.0 dBTP" });
    });
    it("says what was not found", () => {
        const nothing = structuredClone(song);
        nothing.readings.tempo.bpm = nothing.readings.bars.beatsPerBar = nothing.readings.loudness.integratedLufs = null;
        nothing.readings.key.main = null;
        expect(cardEntries(nothing).slice(0, 4).map((entry) => entry.value)).toEqual(["none", "none", "none", "not measurable"]);
    });
});

describe("the table of songs", () => {
    const row = (name: string, seconds?: number): IndexRow => ({ name, page: "", error: "", ...(seconds === undefined ? {} : { seconds }) });
    it("sorts by numbers, and puts what is missing last either way", () => {
        const rows = [row("b", 100), row("none"), row("a", 9)];
        const length = columns[1];
        if (!length) {
            throw new Error("no column");
        }
        expect(sorted(rows, length, false).map((one) => one.name)).toEqual(["a", "b", "none"]);
        expect(sorted(rows, length, true).map((one) => one.name)).toEqual(["b", "a", "none"]);
    });
    it("gives no chance where nothing was found", () => {
        const nothing = structuredClone(song).readings;
        nothing.tempo = { ...nothing.tempo, bpm: null, strength: 0 };
        nothing.key = { ...nothing.key, main: null, strength: 0 };
        const textOf = (label: string, one: IndexRow) => columns.find((column) => column.label === label)?.text(one);
        for (const label of ["Tempo, sure", "Key, sure"]) {
            expect(textOf(label, { ...row("silence"), readings: nothing })).toBe("–");
            expect(textOf(label, { ...row("song"), readings: song.readings })).toMatch(/%$/);
        }
    });
    it("links to names with any characters", () => {
        expect(linkTo("my pages/a#b?c%.html")).toBe("my%20pages/a%23b%3Fc%25.html");
    });
});

describe("curves and keys", () => {
    it("leave silence out of the range", () => {
        const [low, high] = rangeOf([Float32Array.from([Number.NEGATIVE_INFINITY, -20, -10, Number.NaN, 0])]) ?? [0, 0];
        expect(low).toBeGreaterThan(-30);
        expect(high).toBeLessThan(0);
        expect(rangeOf([new Float32Array(3)])).toBeNull();
    });
    it("are all in the range, however few values one has", () => {
        const [low, high] = rangeOf([new Float32Array(4000).fill(515), new Float32Array(16).fill(130)]) ?? [0, 0];
        expect(low).toBeLessThan(130);
        expect(high).toBeGreaterThan(515);
    });
    it("give relative keys the same hue, and fifths a near one", () => {
        expect(hueOf("A minor")).toBe(hueOf("C major"));
        expect(Math.abs(hueOf("G major") - hueOf("C major"))).toBe(30);
    });
    it("give keys with flats the hue of their place on the circle of fifths", () => {
        expect(Math.abs(hueOf("F major") - hueOf("Bb major"))).toBe(30);
        expect(hueOf("Bb major")).toBe(hueOf("G minor"));
        expect(hueOf("Db major")).toBe(hueOf("Bb minor"));
        expect(hueOf("E major")).toBe(hueOf("C# minor"));
        expect(hueOf("F# major")).toBe(hueOf("Eb minor"));
    });
    it("write sharps and flats with their true signs", () => {
        expect(["Bb major", "F# minor", "B minor", "Eb minor"].map(keyText)).toEqual(["B♭ major", "F♯ minor", "B minor", "E♭ minor"]);
    });
});
