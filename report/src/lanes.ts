import list from "../lanes.json";

/** A lane of lanes.json, the one list that page and tool share. */
export interface LaneInfo {
    id: string;
    label: string;
    kind: string;
    unit: string;
    open: boolean;
    source: string;
    description: string;
    height?: number;
    over?: string;
    rows?: number;
    axis?: string;
    names?: string[];
    lowestHz?: number;
    rowsPerOctave?: number;
    spanDecibels?: number;
    lowest?: number;
    /** What is said where there is nothing to see. */
    ifEmpty?: string;
    curves?: { id: string; label: string }[];
}

export interface Click {
    frequencyHz: number;
    seconds: number;
    gain: number;
}

export interface MarkInfo {
    id: string;
    label: string;
    shown: boolean;
    click: Click;
}

export const lanes: LaneInfo[] = list.lanes;
export const marks: MarkInfo[] = list.marks;
