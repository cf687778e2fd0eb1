"""Measures, intervals and truth against closed forms. Needs the environment of script/truth."""

import unittest

import numpy as np

from bench.truth.degrade import delay_samples, moved_back
from bench.truth.intervals import mean_interval, median_interval
from bench.truth.measures import OCTAVES, ascending, measured, pitch_measures, tempo_right
from bench.truth.midi import Note
from bench.truth.synth import RATE, click, coloured_noise, tone
from bench.truth.systems import with_sharps
from bench.truth.tables import shown
from bench.truth.truth import merged_onsets, pitch_frames

BEATS = [0.5 * index for index in range(1, 61)]
SCORE = {"kind": "score", "tempo": 120.0, "beats": BEATS, "downbeats": BEATS[::4], "beats_per_bar": 4,
         "key": "C major", "onsets": BEATS}


class KeyNames(unittest.TestCase):
    def test_flats_are_spelled_as_the_truth_has_them(self):
        names = ("Bb major", "Eb minor", "F# major", "B minor", None)
        self.assertEqual([with_sharps(name) for name in names],
                         ["A# major", "D# minor", "F# major", "B minor", None])


class Tempo(unittest.TestCase):
    def test_the_limit_is_four_percent(self):
        self.assertEqual(tempo_right(100.0, 103.9, OCTAVES[:1]), 1.0)
        self.assertEqual(tempo_right(100.0, 104.1, OCTAVES[:1]), 0.0)

    def test_simple_multiples_count_as_octaves_only(self):
        for factor in (2.0, 0.5, 3.0, 1.0 / 3.0):
            self.assertEqual(tempo_right(100.0, 100.0 * factor, OCTAVES), 1.0)
            self.assertEqual(tempo_right(100.0, 100.0 * factor, OCTAVES[:1]), 0.0)
        self.assertEqual(tempo_right(100.0, 150.0, OCTAVES), 0.0)

    def test_no_tempo_is_wrong_in_music_and_right_without(self):
        self.assertEqual(measured(SCORE, {"tempo": None})["tempo exact"], 0.0)
        self.assertEqual(measured({"kind": "negative"}, {"tempo": None})["no tempo said"], 1.0)
        self.assertEqual(measured({"kind": "negative"}, {"tempo": 120.0})["no tempo said"], 0.0)


class Beats(unittest.TestCase):
    def test_the_truth_itself_is_perfect(self):
        values = measured(SCORE, {name: SCORE[name] for name in
                                  ("tempo", "beats", "downbeats", "beats_per_bar", "key", "onsets")})
        for name in ("tempo exact", "beat F", "CMLt", "AMLt", "down beat F", "beats per bar", "key", "onset F"):
            self.assertEqual(values[name], 1.0, name)
        self.assertEqual(values["beat offset ms"], 0.0)

    def test_every_second_beat_has_full_precision_and_half_recall(self):
        values = measured(SCORE, {"beats": BEATS[1::2]})
        self.assertAlmostEqual(values["beat F"], 2.0 / 3.0, places=1)
        self.assertEqual((values["CMLt"], values["AMLt"]), (0.0, 1.0))

    def test_the_offset_has_the_sign_of_late_answers(self):
        values = measured(SCORE, {"beats": [beat + 0.02 for beat in BEATS], "onsets": [beat - 0.03 for beat in BEATS]})
        self.assertAlmostEqual(values["beat offset ms"], 20.0)
        self.assertAlmostEqual(values["onset offset ms"], -30.0)

    def test_beats_between_the_truth_count_for_nothing(self):
        values = measured(SCORE, {"beats": [beat + 0.25 for beat in BEATS]})
        self.assertEqual(values["beat F"], 0.0)
        self.assertIsNone(values["beat offset ms"])

    def test_beats_after_the_last_true_one_are_not_judged(self):
        late = BEATS + [BEATS[-1] + 0.5, BEATS[-1] + 1.0, BEATS[-1] + 1.5]
        values = measured(SCORE, {"beats": late, "downbeats": BEATS[::4] + [BEATS[-1] + 1.0]})
        self.assertEqual((values["beat F"], values["CMLt"], values["down beat F"]), (1.0, 1.0, 1.0))

    def test_no_beats_are_wrong_and_no_fault(self):
        self.assertEqual(measured(SCORE, {"beats": [], "downbeats": None})["beat F"], 0.0)

    def test_times_are_sorted_finite_and_single(self):
        self.assertEqual(ascending([2.0, 1.0, 1.0, float("nan"), -1.0]).tolist(), [1.0, 2.0])


class Keys(unittest.TestCase):
    def test_related_keys_have_the_shares_of_the_weighted_score(self):
        for answer, score in (("C major", 1.0), ("G major", 0.5), ("A minor", 0.3), ("C minor", 0.2),
                              ("F# major", 0.0), (None, 0.0)):
            self.assertEqual(measured(SCORE, {"key": answer})["key"], score)


class Pitch(unittest.TestCase):
    TRUTH = {"times": [0.01 * index for index in range(100)], "hz": [440.0] * 80 + [0.0] * 20}

    def answer(self, hertz):
        return {"times": self.TRUTH["times"], "hz": hertz}

    def test_within_50_cents_is_right_and_an_octave_is_right_as_a_class(self):
        near, far = 440.0 * 2 ** (49 / 1200), 440.0 * 2 ** (51 / 1200)
        values = pitch_measures(self.TRUTH, self.answer([near] * 40 + [far] * 20 + [880.0] * 20 + [0.0] * 20))
        self.assertAlmostEqual(values["pitch"], 0.5)
        self.assertAlmostEqual(values["pitch class"], 0.75)
        self.assertEqual((values["voicing recall"], values["voicing false alarm"]), (1.0, 0.0))

    def test_guesses_in_frames_taken_for_unvoiced_count_as_pitch_alone(self):
        values = pitch_measures(self.TRUTH, self.answer([-440.0] * 80 + [440.0] * 20))
        self.assertEqual(values["pitch"], 1.0)
        self.assertEqual((values["voicing recall"], values["voicing false alarm"]), (0.0, 1.0))

    def test_frames_far_from_any_answer_have_none(self):
        self.assertEqual(pitch_measures(self.TRUTH, {"times": [5.0], "hz": [440.0]})["pitch"], 0.0)


class Truth(unittest.TestCase):
    def test_notes_nearer_than_30_ms_are_one_onset(self):
        self.assertEqual(merged_onsets([1.0, 0.0, 0.029, 0.031, 1.0299, 1.0301]), [0.0, 0.031, 1.0, 1.0301])

    def test_frames_at_edges_and_in_the_release_are_left_out(self):
        frames = pitch_frames([Note(0, 0.095, 0.3, 69, 90)], [0.095], 0.0, 1.0)
        voiced = [time for time, hertz in zip(frames["times"], frames["hz"]) if hertz]
        silent = [time for time, hertz in zip(frames["times"], frames["hz"]) if not hertz]
        self.assertEqual((voiced[0], voiced[-1]), (0.12, 0.28))
        self.assertEqual((silent[0], silent[-1]), (0.0, 0.99))
        self.assertFalse([time for time in silent if 0.08 <= time < 0.6])

    def test_a_tone_has_its_frequency(self):
        sound = tone(Note(0, 0.0, 1.0, 69, 127), 0.0, 0)
        spectrum = np.abs(np.fft.rfft(sound * np.hanning(sound.size)))
        self.assertEqual(int(np.argmax(spectrum)), 440)


class Delay(unittest.TestCase):
    def test_a_shift_is_found_and_taken_out_to_the_sample(self):
        audio = coloured_noise("delay", 1.0, 1.0)
        for shift in (-700, -1, 0, 1, 1105):
            other = moved_back(audio, -shift, audio.size)
            self.assertEqual(delay_samples(audio, other), shift)
        self.assertEqual(click()[0], 1.0)
        self.assertEqual(RATE, 44100)


class Intervals(unittest.TestCase):
    def test_equal_values_have_no_spread(self):
        self.assertEqual(mean_interval([("a", 0.5), ("b", 0.5)]), (0.5, 0.5, 0.5, 2))

    def test_the_interval_of_a_mean_is_near_two_standard_errors(self):
        values = [(str(index), float(index % 2)) for index in range(400)]
        mean, low, high, count = mean_interval(values)
        self.assertEqual((mean, count), (0.5, 400))
        self.assertAlmostEqual(high - low, 4.0 * 0.5 / 20.0, delta=0.02)

    def test_recordings_of_one_piece_are_no_evidence_of_their_own(self):
        alone = mean_interval([(str(index), float(index % 2)) for index in range(20)])
        fourfold = mean_interval([(str(index), float(index % 2)) for index in range(20) for _ in range(4)])
        self.assertEqual(alone[:3], fourfold[:3])

    def test_medians_and_missing_values(self):
        self.assertEqual(median_interval([("a", 1.0), ("b", None), ("c", 3.0), ("d", 2.0)])[0], 2.0)
        self.assertIsNone(mean_interval([("a", None)]))
        self.assertEqual(shown(None, "%", 0), "–")


if __name__ == "__main__":
    unittest.main()
