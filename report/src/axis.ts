import { hertzText, noteText } from "./format";
import type { LaneInfo } from "./lanes";

export interface Tick {
    row: number;
    label: string;
}

/** What the rows of a picture stand for. Row r covers the places from r to r + 1. */
export interface RowAxis {
    ticks: Tick[];
    /** The text of a place. */
    text(place: number): string;
    /** The place of a frequency in the picture. */
    placeOf(hz: number): number;
}

const melOf = (hz: number): number => 2595 * Math.log10(1 + hz / 700);
const hzOf = (mel: number): number => 700 * (10 ** (mel / 2595) - 1);

function melAxis(rows: number, sampleRateHz: number): RowAxis {
    const highest = melOf(sampleRateHz / 2);
    const placeOf = (hz: number): number => (melOf(hz) / highest) * rows;
    const shown = [0, 500, 1000, 2000, 4000, 8000, 16000].filter((hz) => hz < sampleRateHz / 2);
    return {
        ticks: shown.map((hz) => ({ row: placeOf(hz), label: hz < 1000 ? `${hz}` : `${hz / 1000}k` })),
        text: (place) => hertzText(hzOf((highest * place) / rows)),
        placeOf,
    };
}

function octaveAxis(rows: number, lowestHz: number, rowsPerOctave: number): RowAxis {
    const hzAt = (place: number): number => lowestHz * 2 ** ((Math.floor(place)) / rowsPerOctave);
    const placeOf = (hz: number): number => rowsPerOctave * Math.log2(hz / lowestHz) + 0.5;
    const ticks = [110, 220, 440, 880, 1760, 3520].map((hz) => ({ row: placeOf(hz), label: noteText(hz) }));
    return {
        ticks: ticks.filter((tick) => tick.row < rows),
        text: (place) => `${hertzText(hzAt(place))}, ${noteText(hzAt(place))}`,
        placeOf,
    };
}

function nameAxis(names: string[]): RowAxis {
    return {
        ticks: names.map((label, i) => ({ row: i + 0.5, label })),
        text: (place) => names[Math.min(Math.max(Math.floor(place), 0), names.length - 1)] ?? "",
        placeOf: () => 0,
    };
}

export function axisOf(lane: LaneInfo, sampleRateHz: number): RowAxis {
    const rows = lane.rows ?? 1;
    if (lane.axis === "mel") {
        return melAxis(rows, sampleRateHz);
    }
    if (lane.axis === "octaves") {
        return octaveAxis(rows, lane.lowestHz ?? 1, lane.rowsPerOctave ?? 12);
    }
    return nameAxis(lane.names ?? []);
}
