import type { SongInfo } from "./data";
import { bytesText, hertzText, keyText, numberText, percent, timeText } from "./format";

/** A reading on the card at the top: what it is, what it means, and how sure it is. */
export interface CardEntry {
    label: string;
    value: string;
    more: string;
    meaning: string;
    sure: string;
}

const chance = (strength: number): string =>
    strength > 0 ? `Right with a chance of about ${percent(strength)}.` : "Not known.";

function tempoEntry(song: SongInfo): CardEntry {
    const { bpm, isSteady, alternativeBpm, strength } = song.readings.tempo;
    const label = "Tempo";
    if (bpm === null) {
        return { label, value: "none", more: "", meaning: "No beat was found.", sure: "" };
    }
    const other = alternativeBpm === null ? "" : `or ${numberText(alternativeBpm)} BPM`;
    return isSteady
        ? { label, value: `${numberText(bpm, 2)} BPM`, more: other, meaning: "Beats per minute; the beats lie on a steady grid.", sure: chance(strength) }
        : { label, value: `about ${numberText(bpm, 0)} BPM`, more: other, meaning: "Beats per minute; the tempo is not steady, so this is the best guess.", sure: chance(strength) };
}

function meterEntry(song: SongInfo): CardEntry {
    const { beatsPerBar, strength } = song.readings.bars;
    const value = beatsPerBar === null ? "none" : `${beatsPerBar} beats per bar`;
    const doubt = strength < 0.5 ? "Not clear. " : "";
    return {
        label: "Meter",
        value,
        more: "",
        meaning: "How many beats make a bar, for the whole song.",
        sure: beatsPerBar === null ? "" : doubt + chance(strength),
    };
}

function keyEntry(song: SongInfo): CardEntry {
    const { main, runnerUp, strength } = song.readings.key;
    return {
        label: "Key",
        value: main === null ? "none" : keyText(main),
        more: runnerUp === null ? "" : `then ${keyText(runnerUp)}`,
        meaning: "The musical key of the whole song.",
        sure: main === null ? "" : chance(strength),
    };
}

function loudnessEntry(song: SongInfo): CardEntry {
    const { integratedLufs, rangeLu, truePeakDbtp } = song.readings.loudness;
    const parts = [
        rangeLu === null ? "" : `range ${numberText(rangeLu)} LU`,
        truePeakDbtp === null ? "" : `true peak ${numberText(truePeakDbtp)} dBTP`,
    ];
    return {
        label: "Loudness",
        value: integratedLufs === null ? "not measurable" : `${numberText(integratedLufs)} LUFS`,
        more: parts.filter((part) => part !== "").join(", "),
        meaning: "Loudness of the whole song after EBU R 128; streaming services play at about −14 LUFS.",
        sure: "A measurement, exact to 0.1.",
    };
}

function bandwidthEntry(song: SongInfo): CardEntry {
    const { cutoffHz } = song.readings.bandwidth;
    return {
        label: "Bandwidth",
        value: cutoffHz === null ? "no cutoff" : `up to ${hertzText(cutoffHz)}`,
        more: "",
        meaning: "Where the spectrum ends. Lossy coders cut it: at 16 kHz for MP3 at 128 kbit/s.",
        sure: "A measurement; music without high tones has no cutoff to find.",
    };
}

function formatEntries(song: SongInfo): CardEntry[] {
    const channels = song.channels === 1 ? "mono" : song.channels === 2 ? "stereo" : `${song.channels} channels`;
    return [
        { label: "Length", value: timeText(song.seconds, 1), more: "", meaning: "Minutes and seconds.", sure: "Exact to the sample." },
        {
            label: "Format",
            value: `${song.codec}, ${song.sampleRateHz / 1000} kHz, ${channels}`,
            more: `${song.container}, ${bytesText(song.bytes)}`,
            meaning: "Codec, sample rate and channels of the file.",
            sure: "As the file states.",
        },
    ];
}

export function cardEntries(song: SongInfo): CardEntry[] {
    return [tempoEntry(song), keyEntry(song), meterEntry(song), loudnessEntry(song), bandwidthEntry(song), ...formatEntries(song)];
}
