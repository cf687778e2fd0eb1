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
             "beats_per_bar": meter} if is_steady else {}
    readings = [reading(random, meter, phase, beats, True, is_steady),
                reading(random, meter, phase, doubled, False, is_steady)]
    return truth, {**evidence(random, meter, phase), "readings": readings}


def recordings(seed, count):
    random = np.random.default_rng(seed)
    return [recording(random, index) for index in range(count)]


def shape(text):
    """What a file declares, and how many numbers it has, without their values."""
    code = re.sub(r"//.*", "", text)
    return re.findall(r"constexpr ([^{=]+?) *(?=[{=])", code), len(re.findall(r"(?<![\w:])-?\d[\d.e-]*", code))


class Fit(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.read = recordings(1, 90)
        cls.bars = fit_rhythm.fit_bars(cls.read)
        cls.texts = fit_rhythm.fitted(recordings(1, 90))

    def test_meters_and_phases_of_other_recordings_are_found(self):
        for truth, figures in recordings(2, 30):
            if truth:
                scores = fit_rhythm.bar_rows(figures) @ self.bars
                self.assertEqual(fit_rhythm.right_phase(truth)[int(scores.argmax())], 1.0)

    def test_beats_in_halves_lower_the_score_of_two_alone(self):
        figures = evidence(np.random.default_rng(3), 2, 0)
        lowered = []
        for thirds in (-1.0, 0.0):
            scores = fit_rhythm.meter_scores({**figures, "thirds": thirds}, np.zeros_like(self.bars))
            lowered.append(scores)
        np.testing.assert_allclose(lowered[0] - lowered[1], [-fit_rhythm.TWO_IS_RARE, 0.0, 0.0, 0.0, 0.0])

    def test_the_level_whose_figure_tells_is_chosen(self):
        read = recordings(4, 30)
        fit_rhythm.put_bars(read, self.bars)
        fitting = recordings(1, 90)
        fit_rhythm.put_bars(fitting, self.bars)
        level = fit_rhythm.fit_level(fitting)
        for truth, figures in read:
            if truth:
                best, log_odds = fit_rhythm.chosen(figures["readings"], level)
                self.assertEqual(best["ratio"], 0)
                self.assertGreater(log_odds, 0.0)

    def test_one_in_two_hundred_without_a_tempo_passes_for_steady(self):
        choices = [(truth, figures["readings"][0], 0.0) for truth, figures in self.read]
        weights, constant = fit_rhythm.fit_steadiness(choices)
        odds = np.array([each["steadiness"] @ weights + constant for _, each, _ in choices])
        has_tempo = np.array([bool(truth) for truth, _, _ in choices])
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
        kept = fit_rhythm.fitted(recordings(1, 30), keep_steadiness=True)["SteadyWeights.inc"]
        self.assertIn(f"kBase = {constant:.4g};", kept)
        for weight in weights:
            self.assertIn(f" {weight:.4g},", kept)


if __name__ == "__main__":
    unittest.main()
