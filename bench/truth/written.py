"""The notes of any plan, and a digest that tells whether they are the same as ever."""

import hashlib

from bench.truth.midi import midi_bytes
from bench.truth.score import write_score
from bench.truth.single import write_line, write_notes, write_rubato


def written(plan):
    """The score of a plan; nothing for sounds that have none."""
    if plan.kind == "score":
        return write_score(plan)
    if plan.kind == "line":
        return write_line(plan)
    if plan.kind == "notes" and plan.settings["sound"] == "font":
        return write_notes(plan)
    if plan.settings.get("what") == "rubato":
        return write_rubato(plan)
    return None


def score_digest(plan):
    """Of all notes and beats, to a tenth of a millisecond; empty for sounds without notes."""
    score = written(plan)
    if score is None:
        return ""
    beats = " ".join(f"{beat:.4f}" for beat in score.beats + score.downbeats)
    return hashlib.sha256(midi_bytes(score.notes, score.programs, score.volumes) + beats.encode()).hexdigest()[:16]
