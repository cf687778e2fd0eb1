"""Onsets and pitch that are true of notes."""

from bench.truth.synth import frequency_curve

MERGE_SECONDS = 0.030
HOP_SECONDS = 0.010
SETTLE_SECONDS = 0.020      # of a note after its begin, not judged
BEFORE_END_SECONDS = 0.015  # of a note before its end, not judged
RELEASE_SECONDS = 0.300     # after a note, not judged: it may ring


def merged_onsets(begins):
    """The begins of notes; those less than 30 ms after an onset belong to it."""
    onsets = []
    for begin in sorted(begins):
        if not onsets or begin - onsets[-1] >= MERGE_SECONDS:
            onsets.append(round(begin, 6))
    return onsets


def frame_state(time, spans):
    """The index of the note that sounds at a time, -1 for silence, None where truth is not sure."""
    state = -1
    for index, (begin, end) in enumerate(spans):
        if begin + SETTLE_SECONDS <= time < end - BEFORE_END_SECONDS:
            return index
        if begin - SETTLE_SECONDS <= time < end + RELEASE_SECONDS:
            state = None
    return state


def pitch_frames(notes, begins, vibrato_cents, seconds):
    """Times every 10 ms and their frequencies, 0 in silence; frames that truth is not sure of are left out."""
    spans = list(zip(begins, (note.end_seconds for note in notes)))
    times, hertz, first = [], [], 0
    for frame in range(int(seconds / HOP_SECONDS)):
        time = frame * HOP_SECONDS
        while first < len(spans) and spans[first][1] + RELEASE_SECONDS <= time:
            first += 1
        state = frame_state(time, spans[first:first + 4])
        if state is None:
            continue
        times.append(round(time, 3))
        if state < 0:
            hertz.append(0.0)
        else:
            curve = pitch_at(notes[first + state], time, vibrato_cents)
            hertz.append(round(curve, 4))
    return {"times": times, "hz": hertz}


def pitch_at(note, time, vibrato_cents):
    return float(frequency_curve(note, time, vibrato_cents))
