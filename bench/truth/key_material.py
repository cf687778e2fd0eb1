"""Music with a key, and sounds without one, to fit the strength of the key to: from other seeds than both halves.

Each recording is made once and kept in the cache.
"""

from dataclasses import dataclass
from types import SimpleNamespace

import numpy as np
from scipy.io import wavfile

from bench.truth import synth
from bench.truth.degrade import NOISE_LEVELS_DB, with_noise
from bench.truth.draw import Draw
from bench.truth.midi import DRUM_CHANNEL, Note
from bench.truth.paths import cache
from bench.truth.plans import FONTS, ISOLATED_PROGRAMS, score_plans
from bench.truth.render import RATE, at_peak, render, write_audio
from bench.truth.single import write_notes, write_rubato
from bench.truth.written import written

FIT_SEED, CHECK_SEED = "key one", "key two"
DRUMS = 24          # scores of which the drums are heard alone
SOUNDS = 16         # of each kind
LONG_SOUNDS = 10    # of those that always last 26 s
NOISE_COLOURS = (0.0, 1.0, 2.0, -1.0)
VOLUME = {0: 110}


@dataclass(frozen=True)
class Recording:
    kind: str               # score, noisy score, or what a sound without a key is
    key: str | None
    samples: np.ndarray


def kept(name, make):
    """The samples of a recording, from the cache or made."""
    path = cache() / "key-material-1" / f"{name.replace(' ', '-')}.wav"
    if not path.exists():
        write_audio(path, make())
    return wavfile.read(path)[1].astype(np.float32) / 32768.0


def rendered(notes, program, font, reverb, seconds):
    return at_peak(render(notes, {0: program}, VOLUME, font, reverb, seconds))


def scores(seed):
    """Every score of a material, every other one also in noise, and the drums of the first scores that have some."""
    drums = 0
    for index, plan in enumerate(score_plans(seed)):
        score = written(plan)

        def played(notes, programs, volumes, plan=plan, score=score):
            return at_peak(render(notes, programs, volumes, plan.font, plan.reverb, score.end_seconds))
        samples = kept(plan.seed, lambda: played(score.notes, score.programs, score.volumes))
        yield Recording("score", score.key, samples)
        if index % 2:
            level = NOISE_LEVELS_DB[index // 2 % 3]
            noisy = kept(f"{plan.seed} noise", lambda: at_peak(with_noise(samples, level, f"{plan.seed} n")))
            yield Recording("noisy score", score.key, noisy)
        strokes = [note for note in score.notes if note.channel == DRUM_CHANNEL]
        if strokes and drums < DRUMS:
            drums += 1
            yield Recording("drums", None, kept(f"{plan.seed} drums", lambda: played(strokes, {}, {})))


def run(draw, step):
    """Up and down two octaves by the same step, and how long it lasts."""
    notes, now, pitch, direction = [], 0.3, draw.integer(48, 60), 1
    low, length = pitch, draw.uniform(0.2, 0.6)
    while now < 14.0:
        notes.append(Note(0, round(now, 3), round(now + length, 3), pitch, 90))
        now += length
        pitch += step * direction
        if pitch > low + 24 or pitch < low:
            direction = -direction
            pitch += 2 * step * direction
    return notes, now


def impulses(draw, count, seconds):
    audio = np.zeros(int((seconds + 0.5) * RATE))
    for _ in range(count):
        audio[int(draw.uniform(0.1, seconds) * RATE)] = 0.8
    return audio


def strokes_and_noise(seed, index):
    """(kind, function that makes it)"""
    draw = Draw(f"{seed} sounds {index}")
    seconds = draw.logarithmic(1.0, 30.0)
    places = [int(draw.uniform(0.1, seconds) * RATE) for _ in range((1, 2, 5, 20)[index % 4])]
    yield "noise", lambda: 0.1 * synth.coloured_noise(f"{seed} colour {index}", seconds, NOISE_COLOURS[index % 4])
    yield "clicks", lambda: 0.7 * synth.clicks_at(places, int((seconds + 0.5) * RATE))
    yield "impulses", lambda: impulses(draw, (1, 3, 10, 40)[index % 4], seconds)


def tones_without_key(seed, index):
    """(kind, function that makes it): tones at random, runs by equal steps, and a single tone."""
    draw, font = Draw(f"{seed} tones {index}"), FONTS[index % 2]
    program = ISOLATED_PROGRAMS[index % 14]     # all but the woodblock
    plan = SimpleNamespace(seed=f"{seed} atonal {index}", settings={"program": program})
    for name, score in (("chords", write_rubato(plan)), ("notes", write_notes(plan))):
        yield f"atonal {name}", lambda score=score: rendered(score.notes, program, font, index % 3 == 0,
                                                             score.end_seconds)
    for name, step in (("whole tones", 2), ("chromatic", 1)):
        notes, end = run(draw, step)
        yield name, lambda notes=notes, end=end: rendered(notes, program, font, False, end)
    tone = Note(0, 0.1, draw.uniform(1.0, 6.0), draw.integer(45, 76), 100)
    yield "tone", lambda: rendered([tone], program, font, False, 6.0)


def sounds(seed):
    """Recordings without a key."""
    for index in range(SOUNDS):
        wanted = [*strokes_and_noise(seed, index), *tones_without_key(seed, index)]
        if index < LONG_SOUNDS:
            wanted += [(kind, lambda kind=kind: at_peak(synth.NEGATIVE_SOUNDS[kind](f"{seed} {kind} {index}")))
                       for kind in ("speech", "wind", "drone")]
        for kind, make in wanted:
            yield Recording(kind, None, kept(f"{seed} {kind} {index}", make))


def key_recordings(seed):
    yield from scores(seed)
    yield from sounds(seed)
