"""Fits the weights of tempo, beats and bars, and writes them into readings/rhythm.

    script/build release --target qel_rhythm_probe
    PYTHONPATH=. ~/.cache/qel-truth/venv/bin/python -m bench.truth.fit_rhythm [--every 4] [--output DIRECTORY]

The material is that of bench/truth/training.py, which is in neither half. It is made first, if it is missing: about
2 GB in the cache, and an hour on two cores. The probe computes the figures by the classes of the library. Figures do
not depend on the weights but for one, how well bars fit, which is computed anew here. So one run is enough, and the
same material gives the same weights. With --every 4, one recording in four is taken: to try the script.

Four fits, each a regularized logistic regression:

1. BarWeights.inc: the number of beats per bar and the phase of the true beats, of 2, 3, 4, 5 and 7 beats and all
   phases (McFadden's conditional form). The prior of two beats per bar is not fitted but assumed.
2. BeatWeights.inc: of the readings of a path, those whose beats are right (the same form).
3. SteadyWeights.inc: streams with a tempo among all. The constant is such that 1 in 200 of the others passes.
   --keep-steadiness leaves it as it is.
4. StrengthWeights.inc: right tempi, and right numbers of beats per bar, among the answers.
"""

import argparse
import json
import re
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
ADDED_PRIORS = (0.0, 0.0, 0.0, -0.3, -0.3)      # the material has 5 and 7 more often than other music
# Log odds of 4 against 2 that are added for other music where the beats are clearly divided into halves, and what
# "clearly" is: docs/readings.md tells why.
TWO_IS_RARE, CLEAR_HALVES = 4.6, 0.4
FEATURES, LAYERS = 8, 3                         # of a beat; of repetition
PHASES = tuple((meter, phase) for meter in METERS for phase in range(meter))
BAR_RIDGE = 0.1
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
        for reading in [figures, *figures["readings"]]:
            for name in ("beats", "figures", "steadiness", "repetition"):
                reading[name] = np.array(reading.get(name, ()))
            reading["features"] = np.array(reading.get("features", ())).T
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


def bar_rows(evidence):
    """A row for each meter and phase: the meter; its thirds; repetition; means of the features at each beat of it."""
    places = np.cumsum([0, *METERS]) * FEATURES
    rows = []
    for index, meter in enumerate(METERS):
        means = np.array([beats.sum(0) / (len(beats) + 1)
                          for beats in (evidence["features"][first::meter] for first in range(meter))])
        for phase in range(meter):
            at_beats = np.zeros(places[-1])
            at_beats[places[index]:places[index + 1]] = np.roll(means, -phase, axis=0).ravel()
            is_meter = np.eye(len(METERS))[index]
            rows.append(np.concatenate([is_meter, is_meter * evidence["thirds"],
                                        evidence["repetition"][:, meter - 1], at_beats]))
    return np.array(rows)


def right_phase(truth):
    """1 for the true meter and phase among PHASES."""
    meter = truth["beats_per_bar"]
    phase = int(np.argmin(np.abs(np.array(truth["beats"]) - truth["downbeats"][0]))) % meter
    return np.array([each == (meter, phase) for each in PHASES], dtype=float)


def fit_bars(read):
    """Weights of the rows of bar_rows, with the priors of other music."""
    scores = [(truth, figures) for truth, figures in read if "downbeats" in truth]
    weights = conditional([bar_rows(figures) for _, figures in scores], [right_phase(truth) for truth, _ in scores],
                          BAR_RIDGE)
    weights[:len(METERS)] += ADDED_PRIORS - weights[:len(METERS)].mean()
    return weights


def meter_scores(reading, weights):
    """The score of each meter at its best phase."""
    scores = bar_rows(reading) @ weights
    best = np.array([max(score for score, (other, _) in zip(scores, PHASES) if other == meter) for meter in METERS])
    best[METERS.index(2)] -= TWO_IS_RARE * np.clip(-reading["thirds"] / CLEAR_HALVES, 0.0, 1.0)
    return best


def put_bars(read, weights):
    """Scores of the meters of each reading, and with them its figure of how well bars fit."""
    for _, figures in read:
        for reading in figures["readings"]:
            reading["meters"] = meter_scores(reading, weights)
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


def bars_text(weights):
    count = len(METERS)
    priors, thirds, repetition = weights[:count], weights[count:2 * count], weights[2 * count:2 * count + LAYERS]
    beats = iter(weights[2 * count + LAYERS:].reshape(-1, FEATURES))
    meters = []
    for meter, prior, third in zip(METERS, priors, thirds):
        rows = ["            {" + ", ".join(f"{value:.3f}" for value in next(beats)) + "}," for _ in range(meter)]
        meters += [f"    {{{meter}, {prior:.3f}, {third:.3f},", "        {{", *rows, "        }}},"]
    return "\n".join([
        "// Taken from the score of two beats per bar where this much less begins at thirds of beats than at halves.",
        f"constexpr double kTwoIsRare = {TWO_IS_RARE};", f"constexpr double kClearHalves = {CLEAR_HALVES};",
        "// What is repeated after a bar: onsets, harmony, bass.",
        "constexpr std::array<double, Repetition::kLayers> kRepetition{" +
        ", ".join(f"{value:.3f}" for value in repetition) + "};",
        "// Beats, prior, thirds, and for each beat of a bar: " + ", ".join(BAR_NAMES) + ".",
        "constexpr std::array<Meter, 5> kMeters{{", *meters, "}};"]) + "\n"


def written(bars, level, steady, strengths):
    """{file: text}"""
    constants = dict(zip(("kLevel", "kSteady"), strengths[0]), kNeither=strengths[1])
    bar_constants = dict(zip(("kBars", "kLevelOfBars", "kSteadyOfBars"), strengths[2]), kNoBars=strengths[3])

    def lines(named):
        return "".join(f"constexpr double {name} = {value:.4g};\n" for name, value in named.items())
    figures = len(BEAT_NAMES)
    return {
        "BarWeights.inc": bars_text(bars),
        "BeatWeights.inc":
        table("std::array<double, BeatLevel::kFigures> kBeatWeights", level[:figures], BEAT_NAMES) +
        table("std::array<double, 8> kRatioWeights", level[figures:], RATIO_NAMES),
        "SteadyWeights.inc": table("std::array<double, kSteadinessFigures> kWeights", steady[0], STEADY_NAMES) +
        lines({"kBase": steady[1]}),
        "StrengthWeights.inc": "// That a tempo is right, from the log odds of its level and of a steady tempo.\n" +
        lines(constants) + "// That the number of beats per bar is right, from its own log odds and these.\n" +
        lines(bar_constants)}


def steadiness_in_use():
    """(weights, constant) of SteadyWeights.inc."""
    text = (PROJECT / "readings/rhythm/SteadyWeights.inc").read_text()
    weights = [float(value) for value in re.findall(r"^ +(-?[0-9.e-]+),", text, re.MULTILINE)]
    return np.array(weights), float(re.search(r"kBase = (-?[0-9.e-]+);", text)[1])


def fitted(read, keep_steadiness=False):
    """The texts of the files, from what the probe read."""
    bars = fit_bars(read)
    put_bars(read, bars)
    level = fit_level(read)
    choices = [(truth, *chosen(figures["readings"], level)) for truth, figures in read if figures["readings"]]
    steady = steadiness_in_use() if keep_steadiness else fit_steadiness(choices)
    return written(bars, level, steady, fit_strengths(choices, *steady))


def main():
    parser = argparse.ArgumentParser(prog="fit_rhythm", description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--every", type=int, default=1, help="one recording in so many")
    parser.add_argument("--keep-steadiness", action="store_true", help="leave SteadyWeights.inc as it is")
    parser.add_argument("--output", type=Path, default=PROJECT / "readings/rhythm")
    options = parser.parse_args()
    read = probed(training_recordings(stderr_line, options.every))
    for name, text in fitted(read, options.keep_steadiness).items():
        (options.output / name).write_text(text)


if __name__ == "__main__":
    main()
