"""Measures when a note of each instrument begins to sound after its note-on.

Two things delay it: the synthesizer works in blocks of 64 samples and reads its file in milliseconds,
and samples of instruments have a slow or a late attack. The first is measured with a click-like
percussion key and moves all truth; the second moves the truth of the onsets of that instrument.

A note begins where its level, the mean square over 1.5 ms, first comes within 30 dB of the greatest
level in its first half second.
"""

import json

import numpy as np

from bench.truth.ensembles import ENSEMBLES
from bench.truth.midi import DRUM_CHANNEL, Note
from bench.truth.paths import cache, write_whole
from bench.truth.plans import FONTS, ISOLATED_PROGRAMS, LINE_INSTRUMENTS
from bench.truth.render import RATE, render

BEGIN_DB = -30.0
LEVEL_SAMPLES = 66
LOOK_SECONDS = 0.5
STEP_SECONDS = 2.5
CLICK_KEY = 75        # claves
KEYS_MEASURED = tuple(range(30, 97, 3))
DRUM_KEYS = (36, 37, 38, 42, 44, 45, 46, 49, 50, 51, 70, CLICK_KEY)


def begin_seconds(audio, note_on_seconds, look_seconds=LOOK_SECONDS):
    """From a note-on to the begin of its sound; nothing for a note that does not sound."""
    start = int(round(note_on_seconds * RATE))
    power = audio[start:start + int(look_seconds * RATE)] ** 2
    level = np.convolve(power, np.ones(LEVEL_SAMPLES) / LEVEL_SAMPLES)[:power.size]
    if level.size == 0 or level.max() < 1e-10:
        return None
    first = int(np.argmax(level >= level.max() * 10.0 ** (BEGIN_DB / 10.0)))
    return first / RATE


def measure_channel(font, channel, program, keys):
    """The delay of each key, struck alone every two and a half seconds, when the one before has rung out."""
    starts = [0.2 + index * STEP_SECONDS for index in range(len(keys))]
    notes = [Note(channel, start, start + 0.8, key, 95) for start, key in zip(starts, keys)]
    audio = render(notes, {channel: program}, {channel: 110}, font, False, starts[-1] + STEP_SECONDS)
    delays = {key: begin_seconds(audio, start) for start, key in zip(starts, keys)}
    return {str(key): round(delay, 5) for key, delay in delays.items() if delay is not None}


def programs_used():
    used = {part.program for ensemble in ENSEMBLES for part in ensemble.parts}
    return sorted(used | {program for program, _, _ in LINE_INSTRUMENTS} | set(ISOLATED_PROGRAMS) | {0})


def measure_font(font):
    table = {str(program): measure_channel(font, 0, program, KEYS_MEASURED) for program in programs_used()}
    table["drums"] = measure_channel(font, DRUM_CHANNEL, 0, DRUM_KEYS)
    repeated = [Note(DRUM_CHANNEL, round(0.2 + 0.5013 * index, 3), round(0.4 + 0.5013 * index, 3), CLICK_KEY, 110)
                for index in range(40)]
    audio = render(repeated, {DRUM_CHANNEL: 0}, {DRUM_CHANNEL: 110}, font, False, 21.0)
    clicks = [begin_seconds(audio, note.start_seconds, 0.3) for note in repeated]
    return {"begin": table, "click": round(float(np.median(clicks)), 5),
            "click_spread": round(float(np.max(clicks) - np.min(clicks)), 5)}


class Calibration:
    """Delays of sounds, by font, instrument and key, measured once and kept."""

    def __init__(self, table):
        self._table = table

    @classmethod
    def kept_or_measured(cls):
        path = cache() / "calibration-2.json"
        if not path.exists():
            write_whole(path, json.dumps({font: measure_font(font) for font in FONTS}, indent=1))
        return cls(json.loads(path.read_text()))

    def click_seconds(self, font):
        return self._table[font]["click"]

    def begin_seconds(self, font, note, program):
        """That of the nearest key measured."""
        delays = self._table[font]["begin"]["drums" if note.channel == DRUM_CHANNEL else str(program)]
        nearest = min(delays, key=lambda key: abs(int(key) - note.pitch))
        return delays[nearest]
