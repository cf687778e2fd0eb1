"""Fits the weights of tempo, beats and bars, and writes them into readings/rhythm.

    script/build release --target qel_rhythm_probe
    PYTHONPATH=. ~/.cache/qel-truth/venv/bin/python -m bench.truth.fit_rhythm --keep-steadiness [--every 4] [--output DIRECTORY]

The material is that of bench/truth/training.py, which is in neither half, and for one number the half "develop". It
is made first, if it is missing: about 3 GB in the cache, and an hour on two cores. The probe computes the figures by
the classes of the library. Figures do not depend on the weights but for one, how well bars fit, which is computed anew
here. So one run is enough, and the same material gives the same weights: with --keep-steadiness, those in use byte for
byte. With --every 4, one recording in four is taken: to try the script.

Five fits. All but the second are regularized logistic regressions:

1. BarWeights.inc: the number of beats per bar and the phase of the true beats, of 2, 3, 4, 5 and 7 beats and all
   phases (McFadden's conditional form).
2. The weight of the length of bars, in the same file: of LENGTH_WEIGHTS, that with the most right numbers of beats
   per bar in "develop". Without each piece in turn, the script chooses it again and counts how often that is right.
3. BeatWeights.inc: of the readings of a path, those whose beats are right (as in 1).
4. SteadyWeights.inc: streams with a tempo among all. The constant is such that 1 in 200 of the others passes.
   --keep-steadiness leaves it as it is.
5. StrengthWeights.inc: right tempi, and right numbers of beats per bar, among the answers of weights that were fitted
   without the piece: 1 and 3 are fitted once for each fifth of the pieces.
"""

import argparse
import json
import re
import struct
import subprocess
from dataclasses import dataclass
from pathlib import Path
from zlib import crc32

import mir_eval
import numpy as np
from scipy.io import wavfile

from bench.truth.manifest import plans_of
from bench.truth.material import material
from bench.truth.measures import judged_beats, tempo_right
from bench.truth.regression import conditional, logistic
from bench.truth.runner import PROJECT, stderr_line
from bench.truth.training import training_recordings

METERS = (2, 3, 4, 5, 7)
ADDED_PRIORS = (0.0, 0.0, 0.0, -0.3, -0.3)      # the material has 5 and 7 more often than other music
# Bars last about 2 s: de Clercq, Music Theory Online 22(3), 2016. A weight is what is taken from the score of a meter
# for each octave of distance from this length, squared.
USUAL_BAR_SECONDS = 2.0
LENGTH_WEIGHTS = (*np.arange(0.0, 1.01, 0.125), 1.25, 1.5, 2.0, 3.0)
FEATURES, LAYERS = 8, 3                         # of a beat; of repetition
PHASES = tuple((meter, phase) for meter in METERS for phase in range(meter))
BAR_RIDGE = 0.1
BAR_FIGURE, TWO_FIGURE = 7, 15                  # among the figures of a reading
RATIOS = 8
RIGHT_F, SAME_TEMPO = 0.9, 0.08
SHARE_PASSING = 1 / 200
MOST_LOG_ODDS, LOWEST_STEADY, HIGHEST_STEADY = 9.2, -4.0, 6.0
MOST_OF_LEVEL, MOST_RIVALS = 3.0, 4             # beyond these, a strength tells no more
FOLDS = 5

BAR_NAMES = ("change of harmony at the beat", "in the bass", "over two beats", "in the bass",
             "onset strength in the bass", "over all", "in the middle", "above")
BEAT_NAMES = ("octaves above 105 BPM", "its square", "onsets on the beats", "halfway between", "at thirds",
              "changes of harmony on the beats", "halfway between", "how well bars fit", "spread of the intervals",
              "autocorrelation of the onsets at one beat", "at two beats", "at four beats",
              "autocorrelation of the changes of harmony at one beat", "at two beats", "at four beats",
              "how much better bars of two beats fit than any others")
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
    """The score of each meter at its best phase, whatever the length of its bars."""
    if "bar_rows" not in reading:
        reading["bar_rows"] = bar_rows(reading)
    scores = reading["bar_rows"] @ weights
    return np.array([max(score for score, (other, _) in zip(scores, PHASES) if other == meter) for meter in METERS])


def length_octaves(bpm):
    """How far the bars of each meter are from their usual length."""
    return np.log2(np.array(METERS) * 60.0 / bpm / USUAL_BAR_SECONDS)


def put_bars(read, weights):
    """Scores of the meters of each reading, and with them its figures of how well bars fit."""
    for _, figures in read:
        for reading in figures["readings"]:
            reading["meters"] = meter_scores(reading, weights)
            reading["figures"][BAR_FIGURE] = reading["meters"].max()
            reading["figures"][TWO_FIGURE] = max(reading["meters"][0] - reading["meters"][1:].max(), 0.0)


def preferring_length(choice, weight):
    return choice.reading["meters"] - weight * length_octaves(bpm_of(choice.reading)) ** 2


def is_meter(scores, truth):
    return METERS[int(scores.argmax())] == truth["beats_per_bar"]


def best_length_weight(shares):
    """Of shares of right answers by piece and weight: the least of the best weights."""
    return int(shares.mean(0).argmax())


def fit_length(choices):
    """The weight of the length of bars, and the share right where each piece has the weight of all others."""
    by_piece = {}
    for choice in choices:
        if "beats_per_bar" in choice.truth:
            right = [is_meter(preferring_length(choice, weight), choice.truth) for weight in LENGTH_WEIGHTS]
            by_piece.setdefault(choice.truth["piece"], []).append(right)
    shares = np.array([np.mean(rights, 0) for rights in by_piece.values()])
    others = [shares[piece, best_length_weight(np.delete(shares, piece, 0))] for piece in range(len(shares))]
    return LENGTH_WEIGHTS[best_length_weight(shares)], shares.mean(0), float(np.mean(others))


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
        if "right" not in figures:              # it does not depend on weights
            figures["right"] = rightness(truth, figures["readings"]) if "tempo" in truth else None
        right = figures["right"]
        if right is not None and len(right) > right.sum():
            groups.append(np.array([row_of(reading) for reading in figures["readings"]]))
            rights.append(right)
    stderr_line(f"fit_rhythm: levels of {len(groups)} recordings")
    return conditional(groups, rights)


@dataclass
class Choice:
    """The best reading of a recording, with what its strength depends on."""

    truth: dict
    reading: dict
    log_odds: float         # of its tempo against the others
    rivals: int             # readings at these

    @property
    def is_right(self):
        return "tempo" in self.truth and bool(tempo_right(self.truth["tempo"], bpm_of(self.reading), (1.0,)))


def chosen(truth, readings, weights):
    scores = np.array([row_of(reading) @ weights for reading in readings])
    best = int(scores.argmax())
    tempi = np.array([bpm_of(reading) for reading in readings])
    same = np.abs(tempi / tempi[best] - 1.0) <= SAME_TEMPO
    shares = np.exp(scores - scores[best])
    others = shares[~same].sum()
    log_odds = min(np.log(shares[same].sum() / others), MOST_LOG_ODDS) if others > 0 else MOST_LOG_ODDS
    return Choice(truth, readings[best], log_odds, int((~same).sum()))


def choices_of(read, level):
    return [chosen(truth, figures["readings"], level) for truth, figures in read if figures["readings"]]


def log_odds_of_bars(scores):
    others = np.exp(scores - scores.max()).sum() - 1.0
    return min(-np.log(others), MOST_LOG_ODDS) if others > 0 else MOST_LOG_ODDS


def fit_steadiness(choices):
    rows = np.array([choice.reading["steadiness"] for choice in choices])
    has_tempo = np.array(["tempo" in choice.truth for choice in choices], dtype=float)
    weights, constant = logistic(rows, has_tempo, 0.001)
    others = np.sort((rows @ weights + constant)[has_tempo == 0])
    return weights, constant - max(others[-1 - int(len(others) * SHARE_PASSING)], 0.0)


def strength_rows(choices, steadiness, length_weight):
    """(rows, right) of tempi, and of numbers of beats per bar."""
    rows, right, meter_rows, meter_right = [], [], [], []
    for choice in choices:
        level = min(choice.log_odds, MOST_OF_LEVEL)
        steady = np.clip(choice.reading["steadiness"] @ steadiness[0] + steadiness[1], LOWEST_STEADY, HIGHEST_STEADY)
        rows.append((level, min(choice.rivals, MOST_RIVALS), steady))
        right.append(choice.is_right)
        if "beats_per_bar" in choice.truth:
            scores = preferring_length(choice, length_weight)
            meter_rows.append((log_odds_of_bars(scores), level, steady))
            meter_right.append(is_meter(scores, choice.truth))
    return rows, right, meter_rows, meter_right


def fold_of(truth, index):
    return crc32(str(truth.get("piece", index)).encode()) % FOLDS


def unseen_strength_rows(read, steadiness, length_weight):
    """strength_rows of the readings that are chosen by weights which were fitted without their piece."""
    all_rows = ([], [], [], [])
    folds = [fold_of(truth, index) for index, (truth, _) in enumerate(read)]
    for fold in range(FOLDS):
        others = [each for each, other in zip(read, folds) if other != fold]
        unseen = [each for each, other in zip(read, folds) if other == fold]
        put_bars(read, fit_bars(others))
        choices = choices_of(unseen, fit_level(others))
        for rows, more in zip(all_rows, strength_rows(choices, steadiness, length_weight)):
            rows += more
    return [np.array(rows, dtype=float) for rows in all_rows]


def fit_strengths(rows, right, meter_rows, meter_right):
    """Weights and constants for tempo, and for beats per bar."""
    return (*logistic(rows, right, 0.001), *logistic(meter_rows, meter_right, 0.001))


def table(declaration, values, names):
    texts = [f"{value:.4g}," for value in values]
    wide = max(len(text) for text in texts)
    return "\n".join([f"constexpr {declaration}{{", *(f"    {text:<{wide}} // {name}" for text, name in
                                                       zip(texts, names)), "};"]) + "\n"


def bars_text(weights, length_weight):
    count = len(METERS)
    priors, thirds, repetition = weights[:count], weights[count:2 * count], weights[2 * count:2 * count + LAYERS]
    beats = iter(weights[2 * count + LAYERS:].reshape(-1, FEATURES))
    meters = []
    for meter, prior, third in zip(METERS, priors, thirds):
        rows = ["            {" + ", ".join(f"{value:.3f}" for value in next(beats)) + "}," for _ in range(meter)]
        meters += [f"    {{{meter}, {prior:.3f}, {third:.3f},", "        {{", *rows, "        }}},"]
    return "\n".join([
        "// Bars near this length are preferred: what is taken from the score for each octave of distance, squared.",
        f"constexpr double kUsualBarSeconds = {USUAL_BAR_SECONDS:g};",
        f"constexpr double kLengthWeight = {length_weight:g};",
        "// What is repeated after a bar: onsets, harmony, bass.",
        "constexpr std::array<double, Repetition::kLayers> kRepetition{" +
        ", ".join(f"{value:.3f}" for value in repetition) + "};",
        "// Beats, prior, thirds, and for each beat of a bar: " + ", ".join(BAR_NAMES) + ".",
        "constexpr std::array<Meter, 5> kMeters{{", *meters, "}};"]) + "\n"


def written(bars, length_weight, level, steady, strengths):
    """{file: text}"""
    constants = dict(zip(("kLevel", "kRivals", "kSteady"), strengths[0]), kNeither=strengths[1])
    bar_constants = dict(zip(("kBars", "kLevelOfBars", "kSteadyOfBars"), strengths[2]), kNoBars=strengths[3])

    def lines(named):
        return "".join(f"constexpr double {name} = {value:.4g};\n" for name, value in named.items())
    figures = len(BEAT_NAMES)
    return {
        "BarWeights.inc": bars_text(bars, length_weight),
        "BeatWeights.inc":
        table("std::array<double, BeatLevel::kFigures> kBeatWeights", level[:figures], BEAT_NAMES) +
        table("std::array<double, 8> kRatioWeights", level[figures:], RATIO_NAMES),
        "SteadyWeights.inc": table("std::array<double, kSteadinessFigures> kWeights", steady[0], STEADY_NAMES) +
        lines({"kBase": steady[1]}),
        "StrengthWeights.inc": "// That a tempo is right, from the log odds of its level, the number of its rivals, "
        "and the log odds of a steady tempo.\n" +
        lines(constants) + "// That the number of beats per bar is right, from its own log odds and these.\n" +
        lines(bar_constants)}


def steadiness_in_use():
    """(weights, constant) of SteadyWeights.inc."""
    text = (PROJECT / "readings/rhythm/SteadyWeights.inc").read_text()
    weights = [float(value) for value in re.findall(r"^ +(-?[0-9.e-]+),", text, re.MULTILINE)]
    return np.array(weights), float(re.search(r"kBase = (-?[0-9.e-]+);", text)[1])


def fitted(read, develop, keep_steadiness=False):
    """The texts of the files, from what the probe read of the training material and of "develop"."""
    bars = fit_bars(read)
    put_bars(read + develop, bars)
    level = fit_level(read)
    steadiness = steadiness_in_use() if keep_steadiness else fit_steadiness(choices_of(read, level))
    length_weight, shares, unseen_share = fit_length(choices_of(develop, level))
    for weight, share in zip(LENGTH_WEIGHTS, shares):
        stderr_line(f"fit_rhythm: beats per bar with weight {weight:g} of the length: {share:.4f} right")
    stderr_line(f"fit_rhythm: {unseen_share:.4f} with the weight of the other pieces")
    strengths = fit_strengths(*unseen_strength_rows(read, steadiness, length_weight))
    return written(bars, length_weight, level, steadiness, strengths)


def develop_recordings(every=1):
    """(samples, truth) of the scores of the half "develop", in all variants."""
    plans = [plan for plan in plans_of("develop") if plan.kind == "score"]
    for item in material(plans[::every], ("base", "other font", "noise", "codec"), stderr_line):
        yield wavfile.read(item.wav)[1].astype(np.float32) / 32768.0, item.truth()


def main():
    parser = argparse.ArgumentParser(prog="fit_rhythm", description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--every", type=int, default=1, help="one recording in so many")
    parser.add_argument("--keep-steadiness", action="store_true", help="leave SteadyWeights.inc as it is")
    parser.add_argument("--output", type=Path, default=PROJECT / "readings/rhythm")
    options = parser.parse_args()
    read = probed(training_recordings(stderr_line, options.every))
    develop = probed(develop_recordings(options.every))
    for name, text in fitted(read, develop, options.keep_steadiness).items():
        (options.output / name).write_text(text)


if __name__ == "__main__":
    main()
