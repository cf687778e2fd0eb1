"""Fits the network of readings/onsets/OnsetNetwork.h on the developing half and writes its weights.

    PYTHONPATH=. ~/.cache/qel-truth/venv/bin/python -m bench.truth.fit_onsets readings/onsets/OnsetWeights.inc

The features are those of readings/onsets/OnsetFeatures.cpp, computed once more with numpy. Besides the recordings
there are copies without high frequencies and quiet ones, and noises, tones and strokes with known onsets.
"""

import sys

import numpy as np
from scipy.io import wavfile
from scipy.signal import butter, sosfiltfilt

from bench.truth.manifest import plans_of
from bench.truth.material import material
from bench.truth.render import RATE

FRAME, HOP, BINS = 1024, 512, 512
SILENT_HOPS, REACH, HIDDEN = 2, 3, 16
GAIN, POWER_GAIN, QUIETEST = 300.0, 30.0, 1e-4
RANGE_BINS = (1, 3, 5, 8, 13, 22, 40, 80, 160, 372)
RANGES = len(RANGE_BINS) - 1
PEAK_HOPS = 0.57        # from the begin of a frame to the attacks that it shows best
WEIGHTS = {"line": 3.0, "notes": 3.0, "made": 3.0, "still": 2.0, "score": 1.0}
NEGATIVES_KEPT = 0.25


def narrow_bands():
    edges = np.geomspace(30.0, 16000.0, 38) * FRAME / 44100.0
    edges = np.unique(np.maximum(np.round(edges).astype(int), 1))
    bands = np.zeros((len(edges) - 2, BINS), np.float32)
    for row, (left, top, right) in zip(bands, zip(edges, edges[1:], edges[2:])):
        for k in range(left, min(right, BINS - 1) + 1):
            row[k] = (k - left + 1) / (top - left + 1) if k <= top else (right - k + 1) / (right - top + 1)
    return bands


BANDS = narrow_bands()


def spectra(samples):
    samples = np.concatenate([np.zeros(SILENT_HOPS * HOP, np.float32), samples])
    frames = max(0, (len(samples) - FRAME) // HOP + 1)
    places = np.arange(FRAME)[None] + HOP * np.arange(frames)[:, None]
    window = np.hanning(FRAME + 1)[:FRAME].astype(np.float32)
    return np.fft.rfft(samples[places] * window, axis=1)[:, :BINS] * 4.0 / FRAME    # a sine has its amplitude


def before(rows, by=1):
    return np.vstack([np.zeros((by, rows.shape[1]), rows.dtype), rows])[:len(rows)]


def greatest_near(rows):
    padded = np.pad(rows, ((0, 0), (1, 1)), mode="edge")
    return np.maximum(np.maximum(padded[:, :-2], padded[:, 1:-1]), padded[:, 2:])


def over_ranges(rows, function, edges=RANGE_BINS):
    return np.stack([function(rows[:, low:high], axis=1) for low, high in zip(edges, edges[1:])], 1)


def features(samples):
    """A row of 64 per frame, as OnsetFeatures::Values."""
    bins = spectra(samples)
    here, past = np.abs(bins), before(np.abs(bins))
    amplitude = np.sqrt((here ** 2).sum(1) / 1.5)
    level, greatest = np.empty_like(amplitude), QUIETEST
    for t, value in enumerate(amplitude):
        greatest = max(value, greatest * 0.5 ** (HOP / 44100.0), QUIETEST)
        level[t] = greatest
    level = level[:, None]

    def height(magnitudes):
        return np.log10(1.0 + GAIN * magnitudes / level)

    def rises(now, then, function=np.mean, edges=RANGE_BINS):
        return over_ranges(np.maximum(now - then, 0.0), function, edges)
    narrow, narrow_past = height(here @ BANDS.T), height(past @ BANDS.T)
    groups = np.linspace(0, len(BANDS), RANGES + 1).round().astype(int)
    phase = np.angle(bins)
    phase = 2.0 * before(phase) - before(phase, 2)
    distance = np.where(here > past, np.abs(bins - past * np.exp(1j * phase)), 0.0)
    sign = np.where(np.arange(BINS) % 2, -0.5, 0.5)
    after = np.vstack([bins[1:], np.zeros_like(bins[:1])])
    long = height(np.abs(bins + sign * (before(bins) + after)) / 2.0)
    return np.hstack([
        rises(narrow, narrow_past, edges=groups), rises(narrow, greatest_near(narrow_past), edges=groups),
        rises(height(here), height(past)), np.log10(1.0 + POWER_GAIN * over_ranges(distance, np.sum) / level),
        np.log10(1.0 + POWER_GAIN * rises(here, past, np.sum) / level), np.log10(0.01 + amplitude[:, None] / level),
        rises(long, before(long, 2)), rises(long, greatest_near(before(long, 2)))]).astype(np.float32)


def colored(random, count, slope):
    spectrum = np.fft.rfft(random.normal(size=count))
    noise = np.fft.irfft(spectrum * (np.arange(len(spectrum)) + 1.0) ** (-slope / 2.0), count)
    return noise / np.abs(noise).max()


def decibels(random, low, high):
    return 10.0 ** (random.uniform(low, high) / 20.0)


def steady_sounds(random):
    """(kind, samples, onsets) of noises, and of tones with vibrato or tremolo."""
    for i in range(18):
        lead = (0, 7 * RATE // 10)[i % 2]
        sound = colored(random, 12 * RATE, i % 3) * decibels(random, -60, 0)
        sound[:lead] = 0.0
        yield "still", sound, [lead / RATE]
    for i in range(16):
        time = np.arange(10 * RATE) / RATE
        hertz = random.uniform(60, 1200) * (1 + (0, 0.01, 0.02, 0.03)[i % 4] * np.sin(
            2 * np.pi * random.uniform(4, 7) * time))
        turns = np.cumsum(hertz) / RATE
        sound = sum(np.sin(2 * np.pi * k * turns) / k ** 1.2 for k in range(1, 9) if k * hertz.max() < 15000)
        tremolo = 1 + (0, 0, 0.2, 0.3)[i // 4] * np.sin(2 * np.pi * random.uniform(3, 6) * time)
        lead = (0, RATE // 2)[i % 2]
        sound = 0.3 * sound * tremolo * decibels(random, -50, -3)
        sound[:lead] = 0.0
        yield "still", sound, [lead / RATE]


def stroke(random, kind):
    count = int(random.uniform(0.02, 0.5) * RATE)
    time, decay = np.arange(count) / RATE, random.uniform(0.005, 0.15)
    if kind == 0:
        sound = 0.3 * random.normal(size=count) * np.exp(-time / decay)
    elif kind == 1:
        sound = np.sin(2 * np.pi * random.uniform(80, 3000) * time) * np.exp(-time / decay)
    elif kind == 2:
        sound = np.concatenate([[1.0, -0.8], np.zeros(count - 2)])
    else:
        hertz = random.uniform(80, 1000)
        sound = sum(np.sin(2 * np.pi * k * hertz * time) / k for k in range(1, 10))
        sound *= 0.4 * np.exp(-time / (3 * decay)) * np.minimum(time / 0.002, 1.0)
    return sound * np.minimum(1.0, (count - np.arange(count)) / 200.0) * decibels(random, -12, 0)


def strokes(random):
    for i in range(24):
        sound, onsets = np.zeros(11 * RATE), []
        place, gain = 0 if i % 2 else int(random.uniform(0, 0.5) * RATE), decibels(random, -50, 0)
        while place < 10 * RATE - RATE // 8:
            onsets.append(place / RATE)
            each = stroke(random, i % 4)
            sound[place:place + len(each)] += each
            place += int(random.uniform(0.08, 0.7) * RATE)
        sound = 0.9 * gain * sound[:10 * RATE] / np.abs(sound[:10 * RATE]).max()
        if i % 3 == 0:
            sound += colored(random, len(sound), 1) * gain * decibels(random, -40, -15)
            onsets = [0.0] + [onset for onset in onsets if onset > 0.03]
        yield "made", sound, onsets


def recordings(random):
    """(kind, weight, samples, onsets) of the developing half and of what is made of it."""
    for count, item in enumerate(material(plans_of("develop"), ("base", "noise", "codec", "other font"), print)):
        truth = item.truth()
        if truth["kind"] == "negative":
            if truth["settings"]["what"] != "noise":
                continue
            truth.update(kind="still", onsets=[0.0])
        samples = wavfile.read(item.wav)[1].astype(np.float32) / 32768.0
        yield truth["kind"], 0.5 if truth["variant"] == "noise" else 1.0, samples, truth["onsets"]
        if truth["kind"] == "score" and truth["variant"] == "base":
            low = butter(8, (3600.0, 7200.0, 10000.0)[count % 3], fs=RATE, output="sos")
            yield "score", 1.0, sosfiltfilt(low, samples), truth["onsets"]
            quiet = 32767.0 * samples * 10.0 ** (-(30 + count % 20) / 20.0)
            dither = random.uniform(-0.5, 0.5, len(samples))
            yield "score", 1.0, np.round(quiet + dither) / 32768.0, truth["onsets"]


def everything(random):
    yield from recordings(random)
    for kind, samples, onsets in (*steady_sounds(random), *strokes(random)):
        yield kind, 1.0, samples, onsets


def targets(onsets, frames):
    """Chance, place and weight of the place for each frame: the frame of an onset and its neighbours count."""
    chance, place, weight = np.zeros((3, frames), np.float32)
    for onset in onsets:
        exact = onset * RATE / HOP + SILENT_HOPS
        nearest = int(round(exact - PEAK_HOPS))
        for t, value in ((nearest - 1, 0.4), (nearest, 1.0), (nearest + 1, 0.4)):
            if 0 <= t < frames:
                chance[t] = max(chance[t], value)
                if not weight[t] or abs(exact - PEAK_HOPS - t) < abs(place[t] - PEAK_HOPS):
                    place[t], weight[t] = exact - t, 1.0
    return chance, place, weight


def examples(random):
    """Inputs of kept frames, targets and weights; and means and spreads of the features."""
    read = [(kind, weight, features(samples.astype(np.float32)), onsets)
            for kind, weight, samples, onsets in everything(random)]
    means = np.mean([rows.mean(0) for _, _, rows, _ in read], 0)
    spreads = np.sqrt(np.mean([((rows - means) ** 2).mean(0) for _, _, rows, _ in read], 0)) + 1e-3
    kept = []
    for kind, weight, rows, onsets in read:
        places = np.clip(np.arange(len(rows))[:, None] + np.arange(-REACH, REACH + 1), 0, len(rows) - 1)
        inputs = ((rows - means) / spreads)[places].reshape(len(rows), -1).astype(np.float16)
        chance, place, judged = targets(onsets, len(rows))
        keep = (chance > 0) | (random.random(len(rows)) < NEGATIVES_KEPT)
        share = WEIGHTS[kind] * weight * np.where(chance > 0, 1.0, 1.0 / NEGATIVES_KEPT)
        kept.append([part[keep] for part in (inputs, chance, place, share, 2.0 * judged * WEIGHTS[kind] * weight)])
    return [np.concatenate(part) for part in zip(*kept)], means, spreads


def fitted(inputs, chance, place, share, place_share, random, epochs=5, batch=512, rate=2e-3):
    """Weights by Adam: cross-entropy for the chance, Huber's loss for the place."""
    count = inputs.shape[1]
    weights = [random.normal(0, count ** -0.5, (count, HIDDEN)), np.zeros(HIDDEN),
               random.normal(0, HIDDEN ** -0.5, (HIDDEN, 2)), np.array([-2.0, 0.0])]
    first, second = [np.zeros_like(w) for w in weights], [np.zeros_like(w) for w in weights]
    steps = epochs * (len(inputs) // batch)
    step = 0
    for _ in range(epochs):
        order = random.permutation(len(inputs))
        for begin in range(0, len(order) - batch + 1, batch):
            some, step = order[begin:begin + batch], step + 1
            x = inputs[some].astype(np.float64)
            hidden = np.tanh(x @ weights[0] + weights[1])
            out = hidden @ weights[2] + weights[3]
            fault = np.stack([(1 / (1 + np.exp(-out[:, 0])) - chance[some]) * share[some],
                              np.clip(out[:, 1] - place[some], -0.5, 0.5) * place_share[some]], 1) / batch
            back = (fault @ weights[2].T) * (1 - hidden ** 2)
            slopes = [x.T @ back + 1e-5 * weights[0], back.sum(0), hidden.T @ fault + 1e-5 * weights[2], fault.sum(0)]
            pace = rate * min(1.0, step / 200) * (0.5 + 0.5 * np.cos(np.pi * step / steps))
            for k, slope in enumerate(slopes):
                first[k] = 0.9 * first[k] + 0.1 * slope
                second[k] = 0.999 * second[k] + 0.001 * slope ** 2
                weights[k] -= pace * first[k] / (1 - 0.9 ** step) / (np.sqrt(second[k] / (1 - 0.999 ** step)) + 1e-8)
    return weights


def table(kind, name, texts):
    lines, line = [], "   "
    for text in texts:
        if len(line) + len(text) + 2 > 100:
            lines.append(line)
            line = "   "
        line += f" {text},"
    return "\n".join([f"constexpr {kind} {name}[] = {{", *lines, line, "};"]) + "\n"


def floats(name, values):
    texts = (f"{value:.5g}" for value in np.ravel(values))
    return table("float", name, [(text if set(text) & set(".e") else text + ".") + "f" for text in texts])


def main(path):
    random = np.random.default_rng(0)
    kept, means, spreads = examples(random)
    weights = fitted(*kept, random)
    unit = np.abs(weights[0]).max() / 127.0
    steps = np.round(weights[0] / unit).astype(int)
    text = f"constexpr float kInputUnit = {unit:.8g}f;\n" + floats("kInputMeans", means)
    text += floats("kInputSpreads", spreads) + floats("kHiddenBias", weights[1])
    text += floats("kOutputWeights", weights[2]) + floats("kOutputBias", weights[3])
    text += "// By frame, by feature and by hidden unit, the last one fastest.\n"
    text += table("std::int8_t", "kInputWeights", [str(value) for value in steps.ravel()])
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


if __name__ == "__main__":
    main(sys.argv[1])
