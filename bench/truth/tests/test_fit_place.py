"""The fit of the place of an attack: on curves made here, whose attacks are known."""

import re
import unittest
from pathlib import Path

import numpy as np

from bench.truth import fit_place
from bench.truth.fit_onsets import HOP, PEAK_HOPS
from bench.truth.render import RATE

RHYTHM = Path(__file__).resolve().parents[3] / "readings/rhythm"
WEIGHTS, CONSTANT = np.array([-0.5, 0.75, 1.5]), 0.1


def drawn(random, count):
    figures = random.uniform(0.0, 0.5, (count, 3))
    return np.c_[figures, figures @ WEIGHTS + CONSTANT + random.normal(0.0, 0.02, count)]


def material(seed=1):
    random = np.random.default_rng(seed)
    return {kind: drawn(random, 200) for kind in fit_place.SHARES}


def curve_of(peaks, frames=100):
    """Onset strength with a peak of three frames at each place."""
    curve = [0.0] * frames
    for k, (before, peak, after) in peaks.items():
        curve[k - 1:k + 2] = [before, peak, after]
    return curve


class FitPlaceTest(unittest.TestCase):
    def test_the_function_that_made_the_places_is_found(self):
        weights, constant = fit_place.fit(material())
        np.testing.assert_allclose(weights, WEIGHTS, atol=0.05)
        self.assertAlmostEqual(constant, CONSTANT, delta=0.02)

    def test_attacks_far_from_their_peak_hardly_count(self):
        rows = material()
        rows["music"][::5, -1] += 3.0
        weights, constant = fit_place.fit(rows)
        middle = np.full(3, 0.25)
        self.assertAlmostEqual(middle @ weights + constant, middle @ WEIGHTS + CONSTANT, delta=0.1)

    def test_kinds_weigh_by_their_shares_and_not_by_their_counts(self):
        figures = np.zeros((1000, 3))
        rows = {"music": np.c_[figures, np.full(1000, 0.1)], "strokes": np.c_[figures[:10], np.full(10, 0.2)],
                "bursts": np.c_[figures[:1], np.full(1, 0.2)]}
        self.assertAlmostEqual(fit_place.fit(rows)[1], 0.15, places=6)

    def test_rows_have_shares_of_the_peak_and_hops_after_its_frame(self):
        time = (40.0 + PEAK_HOPS) * HOP / RATE
        rows = fit_place.rows_of(curve_of({41: (0.1, 0.4, 0.2)}), [time])
        np.testing.assert_allclose(rows, [(0.25, 0.5, 0.4, PEAK_HOPS - 1.0)])

    def test_the_greatest_peak_within_three_hops_is_taken_and_weak_ones_are_none(self):
        time = (40.0 + PEAK_HOPS) * HOP / RATE
        rows = fit_place.rows_of(curve_of({38: (0.0, 0.2, 0.0), 42: (0.0, 0.3, 0.0), 45: (0.0, 0.9, 0.0)}), [time])
        self.assertAlmostEqual(rows[0][3], PEAK_HOPS - 2.0)
        self.assertEqual(fit_place.rows_of(curve_of({40: (0.0, 0.009, 0.0)}), [time]), [])
        self.assertEqual(fit_place.rows_of(curve_of({}), [0.0, time, 100.0]), [])

    def test_bursts_begin_where_their_times_tell(self):
        for samples, begins in fit_place.bursts():
            first = int(begins[0] * RATE)
            self.assertFalse(samples[:first].any())
            self.assertGreater(np.abs(samples[first:first + 10]).max(), 0.1)
            self.assertEqual(len(begins), np.count_nonzero([samples[int(begin * RATE)] for begin in begins]))

    def test_the_file_declares_what_the_file_in_use_declares(self):
        def shape(text):
            return re.sub(r"-?[0-9.]+f", "0f", text)
        text = fit_place.text_of(WEIGHTS, CONSTANT)
        self.assertEqual(shape(text), shape((RHYTHM / "PlaceWeights.inc").read_text()))
        self.assertIn("-0.5f, 0.75f, 1.5f", text)


if __name__ == "__main__":
    unittest.main()
