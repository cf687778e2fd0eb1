"""Music and sounds to fit weights to: written from other seeds than both halves.

Scores and sounds come from the generator of the material. Drum patterns, strokes and clicks are made here:
what the generator leaves out, and sounds that have too little for a tempo.
"""

from itertools import islice

import numpy as np
from scipy.io import wavfile

from bench.truth.material import Workshop, items_of
from bench.truth.plans import negative_plans, score_plans
from bench.truth.render import RATE

SEEDS = ("training one", "training two", "training three", "training four")


def wanted_variants(index):
    """Half of the scores are also heard with noise or with the other font."""
    return (("base", "noise"), ("base",), ("base", "other font"), ("base",))[index % 4]


def training_items(say=lambda text: None):
    """Recordings of scores and of sounds without a tempo; those that are missing are made."""
    workshop, items = Workshop(), []
    for seed in SEEDS:
        prefix = seed.replace(" ", "-") + "-"
        plans = score_plans(seed, prefix) + negative_plans(seed, prefix)
        for index, plan in enumerate(plans):
            variants = wanted_variants(index) if plan.kind == "score" else ("base",)
            wanted = [item for item in items_of(plan) if item.variant in variants]
            if not all(item.truth_path.exists() for item in wanted):
                say(f"making {plan.name}")
                workshop.make(plan, variants)
            items += wanted
    return items


def pulse(kind, random):
    count = int(0.12 * RATE)
    time = np.arange(count) / RATE
    if kind == "kick":
        return np.sin(2 * np.pi * (50 * time + 3 * (1 - np.exp(-time / 0.02)))) * np.exp(-time / 0.05)
    noise = random.uniform(-1, 1, count)
    if kind == "snare":
        return (0.5 * noise + 0.4 * np.sin(2 * np.pi * 190 * time)) * np.exp(-time / 0.04)
    return 0.35 * np.diff(noise, prepend=0.0) * np.exp(-time / 0.015)


def struck(hits, seconds, random):
    """Strokes [(kind, second)] as samples with peaks of 0.7."""
    samples = np.zeros(int(seconds * RATE) + RATE)
    for kind, second in hits:
        place, sound = int(round(second * RATE)), pulse(kind, random)
        samples[place:place + len(sound)] += sound
    samples = samples[:int(seconds * RATE)]
    return (0.7 * samples / max(np.abs(samples).max(), 1e-9)).astype(np.float32)


# Strokes in a bar of four beats.
PATTERNS = (
    {"kick": (0, 2), "snare": (1, 3), "hat": (0, 0.5, 1, 1.5, 2, 2.5, 3, 3.5)},
    {"kick": (0, 1, 2, 3), "snare": (1, 3), "hat": (0.5, 1.5, 2.5, 3.5)},
    {"kick": (0, 2, 2.5), "snare": (1, 3), "hat": (0, 0.5, 1, 1.5, 2, 2.5, 3, 3.5)},
    {"kick": (0, 2), "snare": (1, 3), "hat": (0, 2 / 3, 1, 5 / 3, 2, 8 / 3, 3, 11 / 3)},
    {"kick": (0, 1.5), "snare": (2,), "hat": (0, 0.5, 1, 1.5, 2, 2.5, 3, 3.5)},
    {"kick": (0, 0.75, 2, 2.75), "snare": (1, 3), "hat": (0, 1, 2, 3)},
    {"kick": (0, 2), "hat": (0, 2 / 3, 4 / 3, 2, 8 / 3, 10 / 3)},
    {"kick": (0, 1, 2, 3)},
)


def drum_patterns():
    """(samples, truth) of 96 patterns of 24 s, and of the first 7 to 13 s of each."""
    random = np.random.default_rng(20)
    for index in range(96):
        pattern, step = PATTERNS[index % len(PATTERNS)], 60.0 / (60.0 * 3.2 ** random.uniform())
        first = random.uniform(0.1, 0.8)
        for seconds in (24.0, random.uniform(7.0, 13.0)):
            beats = np.arange(first, seconds - 0.2, step)
            hits = [(kind, first + step * (bar + place)) for bar in range(0, len(beats), 4)
                    for kind, places in pattern.items() for place in places
                    if first + step * (bar + place) < seconds - 0.2]
            yield struck(hits, seconds, random), {"tempo": 60.0 / step, "beats": list(beats), "piece": f"drums {index}"}


def without_tempo():
    """(samples, truth) of strokes with gamma-distributed distances, and of few strokes in silence."""
    random = np.random.default_rng(21)
    for index in range(96):
        seconds, shape, now, hits = random.uniform(8.0, 60.0), (1.0, 2.0, 3.0)[index % 3], 0.3, []
        while now < seconds - 0.3:
            hits.append((("kick", "snare", "hat")[index // 3 % 3], now))
            now += max(random.gamma(shape, 0.45 / shape), 0.05)
        yield struck(hits, seconds, random), {}
    for index in range(40):
        seconds = random.uniform(8.0, 40.0)
        hits = [("snare", second) for second in random.uniform(0.5, seconds - 0.5, 1 + index % 8)]
        yield struck(hits, seconds, random), {}


def training_recordings(say=lambda text: None, every=1):
    """(samples, truth): the truth has tempo, beats and, for scores, beats_per_bar and downbeats."""
    for item in training_items(say)[::every]:
        yield wavfile.read(item.wav)[1].astype(np.float32) / 32768.0, item.truth()
    yield from islice(drum_patterns(), 0, None, every)
    yield from islice(without_tempo(), 0, None, every)
