"""Writes pieces that are no scores: single lines, notes one by one, and playing without a tempo."""

from bench.truth.draw import Draw
from bench.truth.midi import Note
from bench.truth.score import Score

LINE_SECONDS = 22.0


def write_line(plan):
    """One tone at a time, with a rest of at least 0.7 s after every phrase of four to eight tones."""
    draw, settings = Draw(plan.seed), plan.settings
    low, high = settings["low"], settings["high"]
    now, pitch, notes = draw.uniform(0.4, 0.8), draw.integer(low, high), []
    while now < LINE_SECONDS:
        for _ in range(draw.integer(4, 8)):
            length = draw.logarithmic(0.18, 1.2)
            pitch += draw.pick((-7, -4, -3, -2, -2, -1, 1, 2, 2, 3, 4, 7, 12, -12))
            while not low <= pitch <= high:
                pitch += 12 if pitch < low else -12
            start, end = round(now, 3), round(now + length, 3)
            notes.append(Note(0, start, end, pitch, draw.integer(75, 110)))
            now = end
        now += draw.uniform(0.7, 1.0)
    return Score(notes, {0: settings.get("program", 0)}, {0: 110})


def write_notes(plan):
    """Notes 0.5 to 1.2 s apart that end 60 ms before the next."""
    draw = Draw(plan.seed)
    now, notes = draw.uniform(0.3, 0.7), []
    while now < 24.0:
        step = draw.uniform(0.5, 1.2)
        notes.append(Note(0, round(now, 3), round(now + step - 0.06, 3), draw.integer(45, 76), draw.integer(60, 115)))
        now += step
    return Score(notes, {0: plan.settings.get("program", 0)}, {0: 110})


def write_rubato(plan):
    """A piano whose steps are of any length from 0.15 to 1.6 s, one independent of the other."""
    draw = Draw(plan.seed)
    now, notes = 0.4, []
    while now < 26.0:
        step = draw.logarithmic(0.15, 1.6)
        for _ in range(draw.integer(1, 3)):
            notes.append(Note(0, round(now, 3), round(now + step, 3), draw.integer(45, 84), draw.integer(50, 105)))
        now += step
    return Score(notes, {0: 0}, {0: 110})
