import { bytesOf } from "./base64";

export interface Segment {
    begin: number;
    end: number;
    name: string;
}

export interface Readings {
    tempo: { bpm: number | null; isSteady: boolean; alternativeBpm: number | null; strength: number };
    bars: { beatsPerBar: number | null; strength: number };
    key: { main: string | null; runnerUp: string | null; strength: number; segments: Segment[] };
    loudness: {
        integratedLufs: number | null;
        rangeLu: number | null;
        truePeakDbtp: number | null;
        samplePeakDbfs: number | null;
    };
    bandwidth: { cutoffHz: number | null };
}

export interface SongInfo {
    name: string;
    title: string;
    artist: string;
    album: string;
    seconds: number;
    sampleRateHz: number;
    channels: number;
    container: string;
    codec: string;
    bytes: number;
    warnings: string[];
    readings: Readings;
}

export interface Level {
    columns: number;
    columnSeconds: number;
}

export interface PictureInfo {
    rows: number;
    firstSeconds: number;
    lowest: number;
    highest: number;
    tileColumns: number;
    isEmpty: boolean;
    levels: Level[];
}

/** Another run over the song; its lanes have ids that end with -n, its place in the list. */
export interface RunInfo {
    label: string;
    tempoBpm: number | null;
    beatsPerBar: number | null;
    key: string | null;
    segments: Segment[];
}

export interface SongPage {
    kind: "song";
    generator: string;
    song: SongInfo;
    runs?: RunInfo[];
    waveform: { stepSeconds: number };
    curves: Record<string, { hopSeconds?: number; at?: string }>;
    colours: string[];
    pictures: Record<string, PictureInfo>;
    audio: { type: string; parts: number; coded: boolean } | null;
}

export interface IndexRow extends Partial<SongInfo> {
    name: string;
    page: string;
    error: string;
}

export interface IndexPage {
    kind: "index";
    generator: string;
    songs: IndexRow[];
}

const element = (id: string): HTMLElement | null => document.getElementById(`qel:${id}`);

/** The object that describes the page; null for a template that was not filled. */
export function description(): SongPage | IndexPage | null {
    const text = element("page")?.textContent;
    return text ? (JSON.parse(text) as SongPage | IndexPage) : null;
}

/** A block of the page as base64; empty if there is none. */
export const block = (id: string): string => element(id)?.textContent ?? "";

/** A block's bytes. Its text leaves the page, which long songs make worth the while. */
export function takeBytes(id: string): Uint8Array {
    const found = element(id);
    const bytes = bytesOf(found?.textContent ?? "");
    found?.remove();
    return bytes;
}

export const takeDoubles = (id: string): Float64Array => new Float64Array(takeBytes(id).buffer);
export const takeFloats = (id: string): Float32Array => new Float32Array(takeBytes(id).buffer);
/** The same without taking it from the page. */
export const peekFloats = (id: string): Float32Array => new Float32Array(bytesOf(block(id)).buffer);
export const takeShorts = (id: string): Int16Array => new Int16Array(takeBytes(id).buffer);
