"""Of the answers with a strength of about 0.8, how many are right? A picture and a table of that, by reading."""

import matplotlib
import numpy as np
from matplotlib import pyplot

from bench.truth.measures import OCTAVES, tempo_right
from bench.truth.tables import markdown

READINGS = ("tempo", "beats_per_bar", "key")
EDGES = (0.0, 0.3, 0.5, 0.7, 0.85, 0.95, 1.0)


def is_right(reading, truth, answer):
    if reading == "tempo":
        return tempo_right(truth["tempo"], answer, OCTAVES[:1]) == 1.0
    if reading == "key":
        return bool(answer) and answer.lower() == truth["key"].lower()
    return answer == truth[reading]


def pairs_of(reading, items, results):
    """(strength, right) of every score; answers with strength 0 are no answers."""
    pairs = []
    for item in items:
        answers = results[item.name].get("answers", {})
        strength = answers.get(f"{reading}_strength") or 0.0
        if item.plan.kind == "score" and strength > 0.0:
            pairs.append((strength, is_right(reading, item.truth(), answers[reading])))
    return np.array(pairs, dtype=float).reshape(-1, 2)


def wilson(rights, count):
    """The 95 % interval of a share: Wilson, J. American Statistical Association 22, 1927."""
    z = 1.96
    centre = (rights + z * z / 2) / (count + z * z)
    half = z / (count + z * z) * np.sqrt(rights * (count - rights) / count + z * z / 4)
    return centre - half, centre + half


def bins_of(pairs):
    """(lowest, highest strength of the bin, mean strength, share right, interval, count) of bins with answers."""
    bins = []
    for low, high in zip(EDGES, EDGES[1:]):
        inside = pairs[(pairs[:, 0] >= low) & ((pairs[:, 0] < high) | (high == EDGES[-1]))]
        if len(inside):
            bins.append((low, high, inside[:, 0].mean(), inside[:, 1].mean(),
                         wilson(inside[:, 1].sum(), len(inside)), len(inside)))
    return bins


def table(all_bins):
    rows = [[reading, f"{low:g} to {high:g}", str(count), f"{strength:.2f}", f"{share:.2f}"]
            for reading, bins in all_bins.items() for low, high, strength, share, _, count in bins]
    return markdown(["reading", "strength", "answers", "mean strength", "share right"], rows)


def draw(all_bins, path, half):
    matplotlib.rcParams["svg.hashsalt"] = "reliability"      # the same bytes in every run
    figure, panels = pyplot.subplots(1, len(all_bins), figsize=(10, 3.7), sharey=True)
    for axes, (reading, bins) in zip(panels, all_bins.items()):
        strengths, shares = ([each[column] for each in bins] for column in (2, 3))
        errors = [[max(each[3] - each[4][0], 0.0) for each in bins], [max(each[4][1] - each[3], 0.0) for each in bins]]
        axes.plot([0, 1], [0, 1], color="0.6", lw=1, ls="--")
        axes.errorbar(strengths, shares, yerr=errors, fmt="o-", color="tab:blue", lw=1.2, ms=4, capsize=3)
        for each in bins:
            axes.annotate(str(each[5]), (each[2], each[3]), textcoords="offset points", xytext=(6, -11), fontsize=8)
        axes.set(title=reading.replace("_", " "), xlabel="strength", xlim=(0, 1.03), ylim=(0, 1.03))
        axes.grid(color="0.9")
    panels[0].set_ylabel("share right")
    figure.suptitle(f"Half “{half}”: shares with 95 % intervals, numbers of answers", fontsize=10)
    figure.tight_layout()
    figure.savefig(path, metadata={"Date": None})
    pyplot.close(figure)


def report(items, results, path, half):
    """Draws the picture and gives the table."""
    all_bins = {reading: bins_of(pairs_of(reading, items, results)) for reading in READINGS}
    draw(all_bins, path, half)
    return table(all_bins)
