"""How near the answers of a system come to the truth of one recording.

An answer of None is scored as wrong. One that is not there is left out, as the system has no such reading.
"""

import warnings

import mir_eval
import numpy as np

TEMPO_TOLERANCE = 0.04
OCTAVES = (1.0, 2.0, 0.5, 3.0, 1.0 / 3.0)
BEAT_WINDOW_SECONDS = 0.070
ONSET_WINDOW_SECONDS = 0.050
BEGIN_NOT_JUDGED_SECONDS = 5.0      # of beats, as mir_eval has it
PITCH_TOLERANCE_CENTS = 50.0
FARTHEST_FRAME_SECONDS = 0.030

# What is asked for in a recording of each kind.
WANTS = {"score": ("tempo", "beats", "downbeats", "beats_per_bar", "key", "onsets"),
         "line": ("f0", "onsets"), "notes": ("onsets",), "negative": ("tempo",)}


def tempo_right(truth, answer, factors):
    if not answer or not np.isfinite(answer):
        return 0.0
    return float(any(abs(answer / factor - truth) <= TEMPO_TOLERANCE * truth for factor in factors))


def ascending(times):
    """Finite times in order, each once, none below 0: what the measures take."""
    times = np.unique(np.asarray(times if times is not None else (), dtype=float))
    return times[np.isfinite(times) & (times >= 0.0)]


def median_offset_ms(truth, answer, window):
    """How much later than the truth the matched events stand, in the median; nothing without a match."""
    if truth.size == 0 or answer.size == 0:
        return None
    pairs = mir_eval.util.match_events(truth, answer, window)
    if not pairs:
        return None
    return float(1000.0 * np.median([answer[second] - truth[first] for first, second in pairs]))


def judged_beats(truth, answer):
    """Without the first seconds, and without answers after the last true beat: there a chord rings out."""
    truth, answer = ascending(truth), ascending(answer)
    if truth.size:
        answer = answer[answer <= truth[-1] + BEAT_WINDOW_SECONDS]
    return tuple(mir_eval.beat.trim_beats(times, BEGIN_NOT_JUDGED_SECONDS) for times in (truth, answer))


def beat_measures(truth, answer):
    truth, answer = judged_beats(truth, answer)
    _, cmlt, _, amlt = mir_eval.beat.continuity(truth, answer)
    return {"beat F": mir_eval.beat.f_measure(truth, answer, BEAT_WINDOW_SECONDS), "CMLt": cmlt, "AMLt": amlt,
            "beat offset ms": median_offset_ms(truth, answer, BEAT_WINDOW_SECONDS)}


def downbeat_measures(truth, answer):
    truth, answer = judged_beats(truth, answer)
    return {"down beat F": mir_eval.beat.f_measure(truth, answer, BEAT_WINDOW_SECONDS)}


def onset_measures(truth, answer):
    truth, answer = ascending(truth), ascending(answer)
    f_measure, precision, recall = mir_eval.onset.f_measure(truth, answer, ONSET_WINDOW_SECONDS)
    return {"onset F": f_measure, "onset precision": precision, "onset recall": recall,
            "onset offset ms": median_offset_ms(truth, answer, ONSET_WINDOW_SECONDS)}


def key_measures(truth, answer):
    return {"key": mir_eval.key.weighted_score(truth, answer) if answer else 0.0,
            "key exact": float(bool(answer) and answer.lower() == truth.lower())}


def at_times(times, answer):
    """The answer's frequency at each time: that of the nearest frame, 0 where none is near."""
    own = np.asarray(answer["times"], dtype=float)
    hertz = np.nan_to_num(np.asarray(answer["hz"], dtype=float))
    if own.size == 0:
        return np.zeros(times.size)
    after = np.clip(np.searchsorted(own, times), 1, max(own.size - 1, 1))
    after = np.minimum(after, own.size - 1)
    before = np.maximum(after - 1, 0)
    nearest = np.where(times - own[before] <= own[after] - times, before, after)
    return np.where(np.abs(own[nearest] - times) <= FARTHEST_FRAME_SECONDS, hertz[nearest], 0.0)


def pitch_measures(truth, answer):
    """Frequencies below 0 are guesses for frames that a system takes for unvoiced."""
    times = np.asarray(truth["times"])
    reference, reference_voiced = mir_eval.melody.freq_to_voicing(np.asarray(truth["hz"]))
    estimate, voiced = mir_eval.melody.freq_to_voicing(at_times(times, answer or {"times": (), "hz": ()}))
    reference, estimate = mir_eval.melody.hz2cents(reference), mir_eval.melody.hz2cents(estimate)
    recall, false_alarm = mir_eval.melody.voicing_measures(reference_voiced, voiced)
    arguments = (reference_voiced, reference, voiced, estimate, PITCH_TOLERANCE_CENTS)
    return {"pitch": mir_eval.melody.raw_pitch_accuracy(*arguments),
            "pitch class": mir_eval.melody.raw_chroma_accuracy(*arguments),
            "voicing recall": recall, "voicing false alarm": false_alarm}


def score_measures(truth, answers):
    values = {}
    if "tempo" in answers:
        values["tempo exact"] = tempo_right(truth["tempo"], answers["tempo"], OCTAVES[:1])
        values["tempo octave"] = tempo_right(truth["tempo"], answers["tempo"], OCTAVES)
    if "beats" in answers:
        values.update(beat_measures(truth["beats"], answers["beats"]))
    if "downbeats" in answers:
        values.update(downbeat_measures(truth["downbeats"], answers["downbeats"]))
    if "beats_per_bar" in answers:
        values["beats per bar"] = float(answers["beats_per_bar"] == truth["beats_per_bar"])
    if "key" in answers:
        values.update(key_measures(truth["key"], answers["key"]))
    return values


def measured(truth, answers):
    """All measures of a recording for the answers that a system gave."""
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        values = score_measures(truth, answers) if truth["kind"] == "score" else {}
        if truth["kind"] == "negative" and "tempo" in answers:
            values["no tempo said"] = float(not answers["tempo"])
        if "onsets" in answers and "onsets" in truth:
            values.update(onset_measures(truth["onsets"], answers["onsets"]))
        if "f0" in answers and "f0" in truth:
            values.update(pitch_measures(truth["f0"], answers["f0"]))
    return {name: None if value is None else float(value) for name, value in values.items()}
