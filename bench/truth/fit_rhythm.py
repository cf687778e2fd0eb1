"""Fits the weights of tempo, beats and bars, and writes them into readings/rhythm.

    script/build release --target qel_rhythm_probe
    PYTHONPATH=. ~/.cache/qel-truth/venv/bin/python -m bench.truth.fit_rhythm [--every 4] [--output DIRECTORY]

The material is that of bench/truth/training.py, which is in neither half. It is made first, if it is missing: about
2 GB in the cache, and an hour on two cores. The probe computes the figures by the classes of the library. Figures do
not depend on the weights but for one, how well bars fit, which is computed anew here. So one run is enough, and the
same material gives the same weights. With --every 4, one recording in four is taken: to try the script.

Five fits, each a regularized logistic regression:

1. BarWeights.inc: down beats among the true beats, from what changes at them.
2. Meters and what the evidence weighs: the number of beats per bar of the true beats, of 2, 3, 4, 5 and 7.
3. BeatWeights.inc: of the readings of a path, those whose beats are right (McFadden's conditional form).
4. SteadyWeights.inc: streams with a tempo among all. The constant is such that 1 in 200 of the others passes.
5. StrengthWeights.inc: right tempi, and right numbers of beats per bar, among the answers.
"""

import argparse
import json
import struct
import subprocess
from pathlib import Path

import mir_eval
import numpy as np
from scipy.optimize import minimize

from bench.truth.measures import judged_beats, tempo_right
from bench.truth.runner import PROJECT, stderr_line
from bench.truth.training import training_recordings

METERS = (2, 3, 4, 5, 7)
ADDED_PRIORS = (0.0, 0.0, 0.5, -0.3, -0.3)      # the material has 5 and 7 more often than other music
BAR_FIGURE = 7                                  # among the figures of a reading
RATIOS = 8
RIGHT_F, SAME_TEMPO = 0.9, 0.08
SHARE_PASSING = 1 / 200
MOST_LOG_ODDS, LOWEST_STEADY, HIGHEST_STEADY = 9.2, -4.0, 6.0

BAR_NAMES = ("change of harmony at the beat", "in the bass", "over two beats", "in the bass",
             "onset strength in the bass", "over all", "in the middle", "above")
BEAT_NAMES = ("octaves above 105 BPM", "its square", "onsets on the beats", "halfway between", "at thirds",
              "changes of harmony on the beats", "halfway between", "how well bars fit", "spread of the intervals",
              "autocorrelation of the onsets at one beat", "at two beats", "at four beats",
              "autocorrelation of the changes of harmony at one beat", "at two beats", "at four beats")
RATIO_NAMES = ("the path as it is", "double", "triple", "half", "a third", "two thirds", "three halves",
               "off the beat")
STEADY_NAMES = ("share of sudden changes in the path", "share of intervals near the median",
                "mean of the onset activity", "logarithm of its kurtosis",
                "mean logarithm of the activity on the path", "share of beats where nothing begins",
                "logarithm of the seconds, 30 at most", "octaves of the path above 105 BPM")


def probed(recordings):
    """[(truth, figures)]; the figures are arrays."""
    probe = subprocess.Popen([PROJECT / "build/release/bin/qel_rhythm_probe"], stdin=subprocess.PIPE,
                             stdout=subprocess.PIPE)
    read = []
    for samples, truth in recordings:
        beats = np.asarray(truth.get("beats", ()), dtype=np.float64)
        probe.stdin.write(struct.pack("=i", len(beats)) + beats.tobytes() +
                          struct.pack("=i", len(samples)) + samples.tobytes())
        probe.stdin.flush()
        figures = json.loads(probe.stdout.readline())
        figures["beats"] = np.array(figures["beats"]).T
        for reading in figures["readings"]:
            for name in ("beats", "figures", "steadiness"):
                reading[name] = np.array(reading[name])
            reading["features"] = np.array(reading["features"]).T
        read.append((truth, figures))
        if len(read) % 100 == 0:
            stderr_line(f"fit_rhythm: {len(read)} recordings")
    probe.stdin.close()
    probe.wait()
    return read


def least(loss, count):
    """Where a smooth loss, given with its slope, is least; from 0 on."""
    return minimize(loss, np.zeros(count), jac=True, method="L-BFGS-B", options={"maxiter": 2000}).x


def logistic(rows, right, ridge=0.01):
    """Weights and constant, on rows of any scale."""
    mean, spread = rows.mean(0), rows.std(0) + 1e-9
    scaled = (rows - mean) / spread

    def loss(weights):
        odds = scaled @ weights[:-1] + weights[-1]
        chance = 1.0 / (1.0 + np.exp(-odds))
        fault = (chance - right) / len(right)
        value = np.mean(np.logaddexp(0.0, odds) - right * odds) + ridge * (weights[:-1] ** 2).sum() / 2
        return value, np.append(scaled.T @ fault + ridge * weights[:-1], fault.sum())
    weights = least(loss, rows.shape[1] + 1)
    return weights[:-1] / spread, weights[-1] - (weights[:-1] * mean / spread).sum()


def conditional(groups, rights, ridge=0.002):
    """Weights of rows, of which each group has some that are right."""
    rows = np.concatenate(groups)
    spread = rows.std(0) + 1e-9

    def loss(weights):
        value, slope = ridge * (weights ** 2).sum() / 2, ridge * weights
        for group, right in zip(groups, rights):
            scaled = group / spread
            scores = scaled @ weights
            shares = np.exp(scores - scores.max())
            among = shares * right
            value -= np.log(among.sum() / shares.sum()) / len(groups)
            slope = slope + scaled.T @ (shares / shares.sum() - among / among.sum()) / len(groups)
        return value, slope
    return least(loss, rows.shape[1]) / spread


def best_phases(evidence):
    """For each meter, the greatest sum of the evidence on down beats, per beat."""
    return np.array([max(evidence[phase::meter].sum() for phase in range(meter)) for meter in METERS]) / len(evidence)


def fit_bars(read):
    """(weights, priors, weight of the evidence)"""
    scores = [(truth, figures["beats"]) for truth, figures in read if "downbeats" in truth]
    is_down = [np.array([np.min(np.abs(np.array(truth["downbeats"]) - beat)) < 0.01 for beat in truth["beats"]])
               for truth, _ in scores]
    weights, _ = logistic(np.concatenate([rows for _, rows in scores]), np.concatenate(is_down).astype(float))
    groups = [np.column_stack([np.eye(len(METERS)), best_phases(rows @ weights)]) for _, rows in scores]
    rights = [np.array([meter == truth["beats_per_bar"] for meter in METERS], dtype=float) for truth, _ in scores]
    fitted = conditional(groups, rights)
    return weights, fitted[:-1] - fitted[:-1].mean() + ADDED_PRIORS, fitted[-1]


def put_bars(read, weights, priors, evidence_weight):
    """Scores of the meters of each reading, and with them its figure of how well bars fit."""
    for _, figures in read:
        for reading in figures["readings"]:
            reading["meters"] = priors + evidence_weight * best_phases(reading["features"] @ weights)
            reading["figures"][BAR_FIGURE] = reading["meters"].max()


def row_of(reading):
    return np.concatenate([reading["figures"], np.eye(RATIOS)[reading["ratio"]]])


def bpm_of(reading):
    return 60.0 / np.median(np.diff(reading["beats"]))


def rightness(truth, readings):
    """1 for readings whose beats are right: nearly as good as the best one, which must be good."""
    values = []
    for reading in readings:
        value = mir_eval.beat.f_measure(*judged_beats(truth["beats"], reading["beats"]))
        values.append(value if tempo_right(truth["tempo"], bpm_of(reading), (1.0,)) else 0.0)
    best = max(values, default=0.0)
    return np.array([value >= RIGHT_F * best for value in values], dtype=float) if best >= 0.5 else None


def fit_level(read):
    groups, rights = [], []
    for truth, figures in read:
        right = rightness(truth, figures["readings"]) if "tempo" in truth else None
        if right is not None and len(right) > right.sum():
            groups.append(np.array([row_of(reading) for reading in figures["readings"]]))
            rights.append(right)
    stderr_line(f"fit_rhythm: levels of {len(groups)} recordings")
    return conditional(groups, rights)


def chosen(readings, weights):
    """(the best reading, log odds of its tempo against the others)"""
    scores = np.array([row_of(reading) @ weights for reading in readings])
    best = int(scores.argmax())
    tempi = np.array([bpm_of(reading) for reading in readings])
    same = np.abs(tempi / tempi[best] - 1.0) <= SAME_TEMPO
    shares = np.exp(scores - scores[best])
    others = shares[~same].sum()
    return readings[best], min(np.log(shares[same].sum() / others), MOST_LOG_ODDS) if others > 0 else MOST_LOG_ODDS


def log_odds_of_bars(scores):
    others = np.exp(scores - scores.max()).sum() - 1.0
    return min(-np.log(others), MOST_LOG_ODDS) if others > 0 else MOST_LOG_ODDS


def fit_steadiness(choices):
    rows = np.array([reading["steadiness"] for _, reading, _ in choices])
    has_tempo = np.array(["tempo" in truth for truth, _, _ in choices], dtype=float)
    weights, constant = logistic(rows, has_tempo, 0.001)
    others = np.sort((rows @ weights + constant)[has_tempo == 0])
    return weights, constant - max(others[-1 - int(len(others) * SHARE_PASSING)], 0.0)


def fit_strengths(choices, steady_weights, steady_constant):
    """Weights and constants for tempo, and for beats per bar."""
    rows, right, bar_rows, bar_right = [], [], [], []
    for truth, reading, level in choices:
        steady = np.clip(reading["steadiness"] @ steady_weights + steady_constant, LOWEST_STEADY, HIGHEST_STEADY)
        rows.append((level, steady))
        right.append("tempo" in truth and tempo_right(truth["tempo"], bpm_of(reading), (1.0,)))
        if "beats_per_bar" in truth:
            bar_rows.append((log_odds_of_bars(reading["meters"]), level, steady))
            bar_right.append(METERS[int(reading["meters"].argmax())] == truth["beats_per_bar"])
    return (*logistic(np.array(rows), np.array(right, dtype=float), 0.001),
            *logistic(np.array(bar_rows), np.array(bar_right, dtype=float), 0.001))


def table(declaration, values, names):
    texts = [f"{value:.4g}," for value in values]
    wide = max(len(text) for text in texts)
    return "\n".join([f"constexpr {declaration}{{", *(f"    {text:<{wide}} // {name}" for text, name in
                                                       zip(texts, names)), "};"]) + "\n"


def written(bars, level, steady, strengths):
    """{file: text}"""
    meters = ", ".join(f"{{{meter}, {prior:.3f}}}" for meter, prior in zip(METERS, bars[1]))
    constants = dict(zip(("kLevel", "kSteady"), strengths[0]), kNeither=strengths[1])
    bar_constants = dict(zip(("kBars", "kLevelOfBars", "kSteadyOfBars"), strengths[2]), kNoBars=strengths[3])

    def lines(named):
        return "".join(f"constexpr double {name} = {value:.4g};\n" for name, value in named.items())
    figures = len(BEAT_NAMES)
    return {
        "BarWeights.inc": table("std::array<double, BarFinder::kFeatures> kWeights", bars[0], BAR_NAMES) +
        f"constexpr std::array<Meter, 5> kMeters{{\n    {{{meters}}}}};\n" + lines({"kEvidence": bars[2]}),
        "BeatWeights.inc":
        table("std::array<double, BeatLevel::kFigures> kBeatWeights", level[:figures], BEAT_NAMES) +
        table("std::array<double, 8> kRatioWeights", level[figures:], RATIO_NAMES),
        "SteadyWeights.inc": table("std::array<double, kSteadinessFigures> kWeights", steady[0], STEADY_NAMES) +
        lines({"kBase": steady[1]}),
        "StrengthWeights.inc": "// That a tempo is right, from the log odds of its level and of a steady tempo.\n" +
        lines(constants) + "// That the number of beats per bar is right, from its own log odds and these.\n" +
        lines(bar_constants)}


def main():
    parser = argparse.ArgumentParser(prog="fit_rhythm", description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--every", type=int, default=1, help="one recording in so many")
    parser.add_argument("--output", type=Path, default=PROJECT / "readings/rhythm")
    options = parser.parse_args()
    read = probed(training_recordings(stderr_line, options.every))
    bars = fit_bars(read)
    put_bars(read, *bars)
    level = fit_level(read)
    choices = [(truth, *chosen(figures["readings"], level)) for truth, figures in read if figures["readings"]]
    steady = fit_steadiness(choices)
    strengths = fit_strengths(choices, *steady)
    for name, text in written(bars, level, steady, strengths).items():
        (options.output / name).write_text(text)


if __name__ == "__main__":
    main()
