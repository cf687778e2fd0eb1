"""Fits the place of an attack after the peak of its onset strength, and writes readings/rhythm/PlaceWeights.inc.

    script/build release --target qel_strength_probe
    PYTHONPATH=. ~/.cache/qel-truth/venv/bin/python -m bench.truth.fit_place

The material is in neither half: the beats of one score in six of bench/truth/training.py, strokes as those of
bench/truth/fit_onsets.py, and bursts of noise at six tempi. Music has half of the weight, strokes and bursts a quarter
each. The place in hops is a linear function with Huber's loss (Ann. Math. Statistics 35(1), 1964), by iterated least
squares: beats without a note have no attack, or another one nearby. --output - writes nothing.
"""

import argparse
from pathlib import Path

import numpy as np
from scipy.io import wavfile

from bench.truth.fit_onsets import HOP, PEAK_HOPS, floats, strokes
from bench.truth.probe import Probe
from bench.truth.render import RATE
from bench.truth.runner import PROJECT, stderr_line
from bench.truth.training import training_items

SCORES_TAKEN = 6                    # one of so many
SHARES = {"music": 0.5, "strokes": 0.25, "bursts": 0.25}
BURST_TEMPI = (50, 61, 77.7, 90, 120, 144)
NEAR_HOPS = 3                       # of the frame that should show an attack best
WEAKEST_PEAK = 0.01
FULL_STRENGTH = 0.5                 # OnsetPlace.cpp: stronger peaks count as that
HUBER_HOPS, ROUNDS = 0.3, 20


def scores():
    """(samples, beats)"""
    items = [item for item in training_items(stderr_line) if item.plan.kind == "score"]
    for item in items[::SCORES_TAKEN]:
        yield wavfile.read(item.wav)[1].astype(np.float32) / 32768.0, item.truth()["beats"]


def bursts():
    """(samples, begins) of noise that dies away."""
    time = np.arange(RATE // 10) / RATE
    burst = 0.5 * np.random.default_rng(2).uniform(-1, 1, len(time)) * np.exp(-time / 0.02)
    for bpm in BURST_TEMPI:
        samples, begins = np.zeros(30 * RATE), np.arange(0.4, 29.0, 60.0 / bpm)
        for begin in begins:
            first = int(begin * RATE)
            samples[first:first + len(burst)] += burst
        yield samples, begins


def recordings():
    """(kind, samples, times of attacks)"""
    for samples, beats in scores():
        yield "music", samples, beats
    for _, samples, onsets in strokes(np.random.default_rng(1)):
        yield "strokes", samples, onsets
    for samples, begins in bursts():
        yield "bursts", samples, begins


def rows_of(curve, times):
    """(value before the peak as a share of it, value after it, peak, hops from its frame to the attack) of each."""
    rows = []
    for time in times:
        exact = time * RATE / HOP
        frame = int(round(exact - PEAK_HOPS))
        near = range(max(frame - NEAR_HOPS, 1), min(frame + NEAR_HOPS + 1, len(curve) - 1))
        peaks = [k for k in near if curve[k] >= WEAKEST_PEAK and curve[k - 1] < curve[k] >= curve[k + 1]]
        if peaks:
            k = max(peaks, key=lambda place: curve[place])
            rows.append((curve[k - 1] / curve[k], curve[k + 1] / curve[k], min(curve[k], FULL_STRENGTH), exact - k))
    return rows


def read():
    """{kind: rows}"""
    rows = {kind: [] for kind in SHARES}
    with Probe("strength") as probe:
        for kind, samples, times in recordings():
            rows[kind] += rows_of(probe.ask(samples), times)
    return {kind: np.array(each) for kind, each in rows.items()}


def fit(rows):
    """Weights of the figures, and the constant."""
    together = np.concatenate(list(rows.values()))
    share = np.concatenate([np.full(len(each), SHARES[kind] / len(each)) for kind, each in rows.items()])
    inputs, hops = np.c_[together[:, :-1], np.ones(len(together))], together[:, -1]
    trust, weights = np.ones(len(hops)), None
    for _ in range(ROUNDS):
        scale = np.sqrt(share * trust)
        weights = np.linalg.lstsq(inputs * scale[:, None], hops * scale, rcond=None)[0]
        trust = np.minimum(1.0, HUBER_HOPS / np.maximum(np.abs(hops - inputs @ weights), 1e-9))
    return weights[:-1], weights[-1]


def report(rows, weights, constant):
    for kind, each in rows.items():
        off = (each[:, :-1] @ weights + constant - each[:, -1]) * HOP / RATE * 1000.0
        print(f"{kind}: {len(each)} attacks, median {np.median(off):+.1f} ms, "
              f"median distance {np.median(np.abs(off)):.1f} ms")


def text_of(weights, constant):
    return floats("kPlaceWeights", weights) + f"constexpr float kPlace = {constant:.4g}f;\n"


def main():
    parser = argparse.ArgumentParser(prog="fit_place", description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--output", type=Path, default=PROJECT / "readings/rhythm/PlaceWeights.inc")
    options = parser.parse_args()
    rows = read()
    weights, constant = fit(rows)
    report(rows, weights, constant)
    if str(options.output) == "-":
        print(text_of(weights, constant))
    else:
        options.output.write_text(text_of(weights, constant))


if __name__ == "__main__":
    main()
