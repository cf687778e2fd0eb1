"""Fits the strength of the key, and writes its weights into readings/tone/KeyWeights.inc.

    script/build release --target qel_key_probe
    PYTHONPATH=. ~/.cache/qel-truth/venv/bin/python -m bench.truth.fit_key

The material is that of bench/truth/key_material.py, which is in neither half. It is made first, if it is missing:
about 1 GB in the cache, with the check. The probe computes keys and figures by the classes of the library. The fit is a regularized logistic regression: is the key right, where there is one at all? --check tells
how strengths agree with shares of right answers on other material, which is made in the same way. --output - writes nothing.
"""

import argparse
from collections import defaultdict
from pathlib import Path

import numpy as np

from bench.truth.fit_rhythm import logistic, table
from bench.truth.key_material import CHECK_SEED, FIT_SEED, key_recordings
from bench.truth.probe import Probe
from bench.truth.reliability import bins_of
from bench.truth.render import RATE
from bench.truth.runner import PROJECT, stderr_line
from bench.truth.tables import markdown

NAMES = ("C", "C#", "D", "D#", "E", "F", "F#", "G", "G#", "A", "A#", "B")
KEYS = [f"{tonic} {mode}" for mode in ("major", "minor") for tonic in NAMES]
FIGURES = ("correlation", "lead over the runner-up", "logarithm of the seconds", "classes missing from seven",
           "agreement of even and odd seconds", "logarithm of the contrast")
HOP = 2048
EXCERPT_SECONDS = {True: (4, 4, 8, 8, 15), False: (5, 12)}      # with a key, and without
REPEATS = defaultdict(lambda: 2, {"score": 1, "noisy score": 1, "drums": 3, "speech": 3})
RIDGE = 1e-5


def streams(recordings, random):
    """(recording, samples): each recording, and excerpts of it that are at least 2 s shorter."""
    for recording in recordings:
        yield recording, recording.samples
        hops = len(recording.samples) // HOP
        for seconds in EXCERPT_SECONDS[recording.key is not None]:
            wanted = seconds * RATE // HOP
            if wanted < hops - 2 * RATE // HOP:
                first = int(random.integers(0, hops - wanted))
                yield recording, recording.samples[first * HOP:(first + wanted + 1) * HOP]


def read(seed):
    """[(kind, is the key right?, figures)] of all streams in which something sounds."""
    rows = []
    with Probe("key") as probe:
        for count, (recording, samples) in enumerate(streams(key_recordings(seed), np.random.default_rng(1))):
            if count % 100 == 0:
                stderr_line(f"fit_key: {seed}: {count} streams")
            answer = probe.ask(samples)
            if answer["correlation"] > 0.0:
                rows.append((recording.kind, KEYS[answer["key"]] == recording.key, answer["figures"]))
    return rows


def arrays(rows):
    """(figures, rights, how often each row counts)"""
    return (np.array([figures for _, _, figures in rows]), np.array([right for _, right, _ in rows], dtype=float),
            np.array([REPEATS[kind] for kind, _, _ in rows]))


def fit(rows):
    figures, rights, repeats = arrays(rows)
    return logistic(np.repeat(figures, repeats, axis=0), np.repeat(rights, repeats), RIDGE)


def strengths(rows, weights, constant):
    return 1.0 / (1.0 + np.exp(-(arrays(rows)[0] @ weights + constant)))


def cross_entropy(rows, weights, constant):
    chance, (_, rights, repeats) = strengths(rows, weights, constant), arrays(rows)
    losses = -np.log(np.where(rights > 0.0, chance, 1.0 - chance).clip(1e-9))
    return (losses * repeats).sum() / repeats.sum()


def reliability(rows, weights, constant):
    """Of scores and excerpts of them, and of everything: the table of script/truth --reliability."""
    chance, right = strengths(rows, weights, constant), arrays(rows)[1]
    is_score = np.array(["score" in kind for kind, _, _ in rows])
    lines = [[name, f"{low:g} to {high:g}", str(count), f"{mean:.2f}", f"{share:.2f}"]
             for name, of in (("scores", is_score), ("all", np.ones_like(is_score)))
             for low, high, mean, share, _, count in bins_of(np.stack([chance[of], right[of]], 1))]
    return markdown(["streams", "strength", "answers", "mean strength", "share right"], lines)


def text_of(weights, constant):
    return table("std::array<double, kKeyFigures> kWeights", weights, FIGURES) + \
        f"constexpr double kConstant = {constant:.4g};\n"


def main():
    parser = argparse.ArgumentParser(prog="fit_key", description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--check", action="store_true", help="judge the strengths on other material")
    parser.add_argument("--output", type=Path, default=PROJECT / "readings/tone/KeyWeights.inc")
    options = parser.parse_args()
    rows = read(FIT_SEED)
    weights, constant = fit(rows)
    print(f"cross-entropy {cross_entropy(rows, weights, constant):.3f} per answer, as fitted")
    if options.check:
        others = read(CHECK_SEED)
        print(f"cross-entropy {cross_entropy(others, weights, constant):.3f} per answer, on the check\n")
        print(reliability(others, weights, constant))
    if str(options.output) == "-":
        print(text_of(weights, constant))
    else:
        options.output.write_text(text_of(weights, constant))


if __name__ == "__main__":
    main()
