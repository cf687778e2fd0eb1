/** A moment or a length as text: "1:02.345", "1:00:00". */
export function timeText(seconds: number, digits = 0): string {
    const scale = 10 ** digits;
    const rounded = Math.round(Math.max(seconds, 0) * scale) / scale;
    const hours = Math.floor(rounded / 3600);
    const minutes = Math.floor((rounded % 3600) / 60);
    const rest = (rounded % 60).toFixed(digits).padStart(digits > 0 ? digits + 3 : 2, "0");
    return hours > 0 ? `${hours}:${String(minutes).padStart(2, "0")}:${rest}` : `${minutes}:${rest}`;
}

/** How many digits a moment needs where this many seconds are on the screen. */
export const digitsFor = (seconds: number): number => (seconds > 120 ? 0 : seconds > 12 ? 1 : seconds > 1.2 ? 2 : 3);

export const percent = (strength: number): string => `${Math.min(Math.round(strength * 100), 99)} %`;

/** A number with a true minus sign. */
export const numberText = (value: number, digits = 1): string => value.toFixed(digits).replace(/^-(?=0(\.0*)?$)/, "").replace("-", "−");

export const hertzText = (hz: number): string => (hz < 1000 ? `${hz.toFixed(0)} Hz` : `${(hz / 1000).toFixed(2)} kHz`);

const noteNames = ["C", "C♯", "D", "D♯", "E", "F", "F♯", "G", "G♯", "A", "A♯", "B"];

/** The nearest note of equal temperament at an A of 440 Hz: "A4". */
export function noteText(hz: number): string {
    const note = Math.round(69 + 12 * Math.log2(hz / 440));
    return `${noteNames[((note % 12) + 12) % 12]}${Math.floor(note / 12) - 1}`;
}

export function bytesText(bytes: number): string {
    return bytes < 1e6 ? `${(bytes / 1e3).toFixed(0)} kB` : `${(bytes / 1e6).toFixed(1)} MB`;
}

/** "C# minor" and "Bb major" with the true signs. */
export const keyText = (name: string): string => name.replace(/^([A-G])#/, "$1♯").replace(/^([A-G])b/, "$1♭");
