"""Means with a 95 % interval from resampled pieces.

Recordings of one piece resemble each other, so that whole pieces are drawn, with all their recordings.
"""

from collections import defaultdict

import numpy as np

RESAMPLES = 1000
SEED = 1


def mean_interval(values):
    """(mean, low, high, recordings) of (piece, value) pairs; nothing without a value."""
    pieces = defaultdict(list)
    for piece, value in values:
        if value is not None:
            pieces[piece].append(value)
    if not pieces:
        return None
    sums = np.array([sum(group) for group in pieces.values()])
    counts = np.array([len(group) for group in pieces.values()])
    draws = np.random.Generator(np.random.PCG64(SEED)).integers(0, sums.size, (RESAMPLES, sums.size))
    means = sums[draws].sum(axis=1) / counts[draws].sum(axis=1)
    low, high = np.percentile(means, (2.5, 97.5))
    return float(sums.sum() / counts.sum()), float(low), float(high), int(counts.sum())


def median_interval(values):
    """The same for the median of the recordings' values."""
    pieces = defaultdict(list)
    for piece, value in values:
        if value is not None:
            pieces[piece].append(value)
    if not pieces:
        return None
    groups = [np.array(group) for group in pieces.values()]
    draws = np.random.Generator(np.random.PCG64(SEED)).integers(0, len(groups), (RESAMPLES, len(groups)))
    medians = [np.median(np.concatenate([groups[index] for index in row])) for row in draws]
    low, high = np.percentile(medians, (2.5, 97.5))
    everything = np.concatenate(groups)
    return float(np.median(everything)), float(low), float(high), int(everything.size)
