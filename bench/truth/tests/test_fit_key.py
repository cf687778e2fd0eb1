"""The fit of the strength of the key: on figures made here, with known chances, and on its own small material."""

import re
import unittest
from pathlib import Path
from types import SimpleNamespace

import numpy as np

from bench.truth import fit_key, key_material
from bench.truth.render import RATE

TONE = Path(__file__).resolve().parents[3] / "readings/tone"
WEIGHTS, CONSTANT = np.array([2.0, -1.0, 0.5, 0.0, 1.0, -0.5]), 0.3


def drawn(seed, count, kind="score"):
    """Rows whose chance to be right is the logistic function of their figures."""
    random = np.random.default_rng(seed)
    figures = random.normal(0.0, 1.0, (count, len(fit_key.FIGURES)))
    chance = 1.0 / (1.0 + np.exp(-(figures @ WEIGHTS + CONSTANT)))
    return [(kind, bool(right), list(row)) for row, right in zip(figures, random.random(count) < chance)]


def recording(seconds, key="C major"):
    return key_material.Recording("score" if key else "noise", key, np.arange(int(seconds * RATE)))


class FitKeyTest(unittest.TestCase):
    def test_the_function_that_made_the_answers_is_found(self):
        weights, constant = fit_key.fit(drawn(1, 20000))
        np.testing.assert_allclose(weights, WEIGHTS, atol=0.1)
        self.assertAlmostEqual(constant, CONSTANT, delta=0.1)

    def test_a_kind_that_counts_three_times_moves_the_fit_as_three_copies_do(self):
        scores, drums = drawn(2, 500), drawn(3, 200, "drums")
        copies = [("score", right, figures) for _, right, figures in drums] * 3
        np.testing.assert_allclose(fit_key.fit(scores + drums)[0], fit_key.fit(scores + copies)[0], atol=1e-4)

    def test_strengths_agree_with_shares_of_other_answers(self):
        weights, constant = fit_key.fit(drawn(4, 5000))
        others = drawn(5, 20000)
        rights = np.array([right for _, right, _ in others])
        strengths = fit_key.strengths(others, weights, constant)
        for low in np.arange(0.0, 1.0, 0.2):
            inside = (strengths >= low) & (strengths < low + 0.2)
            self.assertAlmostEqual(rights[inside].mean(), strengths[inside].mean(), delta=0.03)

    def test_cross_entropy_of_even_chances_is_the_logarithm_of_two(self):
        self.assertAlmostEqual(fit_key.cross_entropy(drawn(6, 50), np.zeros(6), 0.0), np.log(2.0))

    def test_excerpts_are_cut_at_hops_and_shorter_by_two_seconds(self):
        cut = [samples for _, samples in fit_key.streams([recording(26.0)], np.random.default_rng(1))]
        self.assertEqual([len(samples) // RATE for samples in cut], [26, 4, 4, 8, 8, 15])
        self.assertTrue(all(samples[0] % fit_key.HOP == 0 for samples in cut))
        self.assertTrue(all((np.diff(samples) == 1).all() for samples in cut))
        without_key = [len(samples) // RATE
                       for _, samples in fit_key.streams([recording(7.5, None)], np.random.default_rng(1))]
        self.assertEqual(without_key, [7, 5])

    def test_the_file_declares_what_the_file_in_use_declares(self):
        def shape(text):
            return re.findall(r"constexpr ([^{=]+?) *(?=[{=])", text), re.findall(r"// .*", text)
        text = fit_key.text_of(WEIGHTS, CONSTANT)
        self.assertEqual(shape(text), shape((TONE / "KeyWeights.inc").read_text()))
        self.assertEqual([float(value) for value in re.findall(r"^ +(-?[0-9.]+),", text, re.MULTILINE)], list(WEIGHTS))
        self.assertIn("kConstant = 0.3;", text)


class KeyMaterialTest(unittest.TestCase):
    def test_no_score_is_one_of_the_halves(self):
        halves = {plan.seed for plan in key_material.score_plans()}
        for seed in (key_material.FIT_SEED, key_material.CHECK_SEED):
            self.assertFalse(halves & {plan.seed for plan in key_material.score_plans(seed)})

    def test_runs_have_equal_steps_and_turn_within_two_octaves(self):
        for step in (1, 2):
            draw = key_material.Draw(f"run {step}")
            pitches = [note.pitch for note in key_material.run(draw, step)[0]]
            self.assertEqual(set(np.abs(np.diff(pitches))), {step})
            self.assertLessEqual(max(pitches) - min(pitches), 24)

    def test_impulses_are_single_samples(self):
        audio = key_material.impulses(SimpleNamespace(uniform=lambda low, high: high), 3, 2.0)
        self.assertEqual(list(np.flatnonzero(audio)), [2 * RATE])
        self.assertEqual(len(audio), int(2.5 * RATE))


if __name__ == "__main__":
    unittest.main()
