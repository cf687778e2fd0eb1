/** Sounds whose picture is known, as files of WAVE. */

const rate = 44100;

const bytes = (text: string): Buffer => Buffer.from(text, "latin1");

function chunk(id: string, content: Buffer): Buffer {
    const size = Buffer.alloc(4);
    size.writeUInt32LE(content.length);
    return Buffer.concat([bytes(id), size, content, Buffer.alloc(content.length % 2)]);
}

/** One channel, 16 bits. A title stands in the file as its tag. */
export function wav(samples: Float32Array, title = "", rateHz = rate): Buffer {
    const data = Buffer.alloc(samples.length * 2);
    samples.forEach((sample, i) => data.writeInt16LE(Math.round(Math.min(Math.max(sample, -1), 1) * 32767), i * 2));
    const format = Buffer.alloc(16);
    format.writeUInt16LE(1, 0);
    format.writeUInt16LE(1, 2);
    format.writeUInt32LE(rateHz, 4);
    format.writeUInt32LE(rateHz * 2, 8);
    format.writeUInt16LE(2, 12);
    format.writeUInt16LE(16, 14);
    const tags = title === "" ? Buffer.alloc(0) : chunk("LIST", Buffer.concat([bytes("INFO"), chunk("INAM", bytes(`${title}\0`))]));
    return chunk("RIFF", Buffer.concat([bytes("WAVE"), chunk("fmt ", format), tags, chunk("data", data)]));
}

export function tones(frequencies: number[], seconds: number, amplitude: number): Float32Array {
    return Float32Array.from({ length: Math.round(seconds * rate) }, (_, i) =>
        frequencies.reduce((sum, hz) => sum + amplitude * Math.sin((2 * Math.PI * hz * i) / rate), 0),
    );
}

/** Strokes of noise, the first of each four louder and over a low tone. */
export function strokes(bpm: number, seconds: number): Float32Array {
    const samples = new Float32Array(Math.round(seconds * rate));
    let seed = 1;
    for (let beat = 0; (beat * 60) / bpm < seconds - 0.2; beat++) {
        const first = Math.round(((beat * 60) / bpm) * rate);
        const isDown = beat % 4 === 0;
        for (let i = 0; i < 0.1 * rate; i++) {
            seed = (seed * 1664525 + 1013904223) % 4294967296;
            const noise = (seed / 2147483648 - 1) * Math.exp((-i / rate) * 60);
            const low = isDown ? 0.4 * Math.sin((2 * Math.PI * 80 * i) / rate) * Math.exp((-i / rate) * 20) : 0;
            samples[first + i] = (isDown ? 0.5 : 0.35) * noise + low;
        }
    }
    return samples;
}
