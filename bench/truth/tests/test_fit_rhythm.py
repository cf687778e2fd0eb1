"""The fit of tempo, beats and bars: on figures made here, whose right answers are plain from one of them each."""

import re
import unittest
from pathlib import Path

import numpy as np

from bench.truth import fit_rhythm
from bench.truth.fit_rhythm import METERS

RHYTHM = Path(__file__).resolve().parents[3] / "readings/rhythm"
BEATS = 48


def evidence(random, meter, phase):
    """Features whose first is high on down beats, and onsets that repeat after a bar."""
    features = random.normal(0.0, 0.3, (BEATS, fit_rhythm.FEATURES))
    features[phase::meter, 0] += 2.0
    repetition = random.normal(0.0, 0.1, (fit_rhythm.LAYERS, 8))
    repetition[0, meter - 1] += 0.8
    return {"features": features - features.mean(0), "repetition": repetition, "thirds": random.uniform(0.0, 0.2)}


def reading(random, meter, phase, seconds, is_right, is_steady):
    """Onsets on the beats tell the right level; the share of sudden changes tells a steady tempo."""
    figures, steadiness = random.normal(0.0, 0.1, len(fit_rhythm.BEAT_NAMES)), random.normal(0.0, 0.1, 8)
    figures[2] += 1.0 if is_right else 0.0
    steadiness[0] += 0.0 if is_steady else 1.0
    return {"ratio": 0 if is_right else 1, "beats": seconds, "figures": figures, "steadiness": steadiness,
            **evidence(random, meter, phase)}


def recording(random, index):
    """Every third one has no tempo. Others have a reading at their tempo and one at double of it."""
    meter = METERS[index % len(METERS)]
    phase, step = index % meter, random.uniform(0.4, 1.0)
    beats = 0.3 + step * np.arange(BEATS)
    doubled = 0.3 + step / 2 * np.arange(2 * BEATS)
    is_steady = index % 3 != 2
    truth = {"tempo": 60.0 / step, "beats": list(beats), "downbeats": list(beats[phase::meter]),
             "beats_per_bar": meter, "piece": f"piece {index}"} if is_steady else {}
    readings = [reading(random, meter, phase, beats, True, is_steady),
                reading(random, meter, phase, doubled, False, is_steady)]
    return truth, {**evidence(random, meter, phase), "readings": readings}


def length_choice(piece, step, meter, lead):
    """A choice whose score of 2 beats per bar leads by so much over that of 4; the others are far behind."""
    scores = np.array([lead, -50.0, 0.0, -50.0, -50.0])
    return fit_rhythm.Choice({"piece": piece, "beats_per_bar": meter},
                             {"beats": step * np.arange(BEATS), "meters": scores}, 0.0, 0)


def recordings(seed, count):
    random = np.random.default_rng(seed)
    return [recording(random, index) for index in range(count)]


def scores_of(read):
    return [each for each in read if each[0]]


def shape(text):
    """What a file declares, and how many numbers it has, without their values."""
    code = re.sub(r"//.*", "", text)
    return re.findall(r"constexpr ([^{=]+?) *(?=[{=])", code), len(re.findall(r"(?<![\w:])-?\d[\d.e-]*", code))


class Fit(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.read = recordings(1, 90)
        cls.bars = fit_rhythm.fit_bars(cls.read)
        cls.texts = fit_rhythm.fitted(recordings(1, 90), scores_of(recordings(5, 30)))

    def test_meters_and_phases_of_other_recordings_are_found(self):
        for truth, figures in recordings(2, 30):
            if truth:
                scores = fit_rhythm.bar_rows(figures) @ self.bars
                self.assertEqual(fit_rhythm.right_phase(truth)[int(scores.argmax())], 1.0)

    def test_bars_are_preferred_by_their_distance_from_two_seconds_in_octaves(self):
        beats = 0.5 * np.arange(BEATS)          # 2, 3, 4, 5 and 7 of them last 1, 1.5, 2, 2.5 and 3.5 s
        choice = fit_rhythm.Choice({}, {"beats": beats, "meters": np.zeros(5)}, 0.0, 0)
        scores = fit_rhythm.preferring_length(choice, 0.75)
        np.testing.assert_allclose(scores[[0, 2]], [-0.75, 0.0], atol=1e-12)
        np.testing.assert_allclose(scores[4], -0.75 * np.log2(3.5 / 2.0) ** 2)
        np.testing.assert_array_equal(fit_rhythm.preferring_length(choice, 0.0), np.zeros(5))

    def test_the_weight_of_the_length_is_the_least_that_is_right_most_often(self):
        choices = [length_choice(f"piece {index}", step, meter, lead)
                   for index, (step, meter, lead) in enumerate(((0.5, 2, 0.6), (0.5, 4, 0.3), (1.0, 2, -0.3)) * 4)]
        # Two of 1 s that lead by 0.6 are lost from there on; bars of 2 s that are behind by 0.3 are won above that.
        weight, shares, _ = fit_rhythm.fit_length(choices)
        self.assertEqual(weight, 0.375)
        self.assertAlmostEqual(shares[0], 1 / 3)
        self.assertEqual(shares.max(), 1.0)

    def test_without_need_the_length_has_no_weight(self):
        choices = [length_choice(f"piece {index}", 0.5, 2, 0.1) for index in range(4)]
        self.assertEqual(fit_rhythm.fit_length(choices)[0], 0.0)

    def test_a_piece_has_no_part_in_the_weight_it_is_judged_by(self):
        alone = [length_choice("alone", 0.5, 4, 0.3), length_choice("other", 0.5, 2, 0.1)]
        self.assertEqual(fit_rhythm.fit_length(alone)[2], 0.0)

    def test_recordings_of_a_piece_are_in_one_fold(self):
        folds = {fit_rhythm.fold_of({"piece": "score001", "variant": variant}, index)
                 for index, variant in enumerate(("base", "noise", "codec"))}
        self.assertEqual(len(folds), 1)
        self.assertEqual({fit_rhythm.fold_of({"piece": f"score{index:03d}"}, 0) for index in range(40)},
                         set(range(fit_rhythm.FOLDS)))

    def test_great_odds_against_few_rivals_say_no_more_than_the_bound(self):
        reading = {**self.read[0][1]["readings"][0], "meters": np.zeros(5)}
        truth = self.read[0][0]
        rows = [fit_rhythm.strength_rows([fit_rhythm.Choice(truth, reading, odds, rivals)], (np.zeros(8), 1.0), 0.0)[0]
                for odds, rivals in ((3.0, 4), (9.2, 4), (9.2, 12), (9.2, 1))]
        self.assertEqual(rows[0], rows[1])
        self.assertEqual(rows[1], rows[2])
        self.assertEqual(rows[3][0][:2], (3.0, 1))

    def test_the_level_whose_figure_tells_is_chosen(self):
        read = recordings(4, 30)
        fit_rhythm.put_bars(read, self.bars)
        fitting = recordings(1, 90)
        fit_rhythm.put_bars(fitting, self.bars)
        level = fit_rhythm.fit_level(fitting)
        for truth, figures in read:
            if truth:
                choice = fit_rhythm.chosen(truth, figures["readings"], level)
                self.assertEqual(choice.reading["ratio"], 0)
                self.assertGreater(choice.log_odds, 0.0)
                self.assertEqual(choice.rivals, 1)

    def test_one_in_two_hundred_without_a_tempo_passes_for_steady(self):
        choices = [fit_rhythm.Choice(truth, figures["readings"][0], 0.0, 1) for truth, figures in self.read]
        weights, constant = fit_rhythm.fit_steadiness(choices)
        odds = np.array([choice.reading["steadiness"] @ weights + constant for choice in choices])
        has_tempo = np.array([bool(choice.truth) for choice in choices])
        self.assertTrue((odds[has_tempo] > 0.0).all())
        self.assertLessEqual((odds[~has_tempo] > 1e-9).sum(), 1)

    def test_files_declare_what_the_files_in_use_declare(self):
        self.assertEqual(len(self.texts), 4)
        for name, text in self.texts.items():
            with self.subTest(name):
                self.assertEqual(shape(text), shape((RHYTHM / name).read_text()))

    def test_steadiness_in_use_is_written_as_it_is(self):
        weights, constant = fit_rhythm.steadiness_in_use()
        self.assertEqual(len(weights), 8)
        kept = fit_rhythm.fitted(recordings(1, 30), scores_of(recordings(5, 30)), keep_steadiness=True)["SteadyWeights.inc"]
        self.assertIn(f"kBase = {constant:.4g};", kept)
        for weight in weights:
            self.assertIn(f" {weight:.4g},", kept)


if __name__ == "__main__":
    unittest.main()
