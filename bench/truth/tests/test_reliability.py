"""Reliability of strengths, against closed forms."""

import unittest

import numpy as np

from bench.truth.reliability import bins_of, is_right, wilson


class ReliabilityTest(unittest.TestCase):
    def test_bins_have_the_mean_strength_and_the_share_right(self):
        pairs = np.array([[0.1, 0], [0.2, 1], [0.8, 1], [0.84, 0], [0.7, 1], [0.75, 1], [1.0, 1]])
        found = {low: (strength, share, count) for low, _, strength, share, _, count in bins_of(pairs)}
        self.assertEqual(sorted(found), [0.0, 0.7, 0.95])
        np.testing.assert_allclose(found[0.0], (0.15, 0.5, 2))
        np.testing.assert_allclose(found[0.7], (0.7725, 0.75, 4))
        np.testing.assert_allclose(found[0.95], (1.0, 1.0, 1))

    def test_the_interval_of_a_share_is_wilsons(self):
        low, high = wilson(0, 10)
        self.assertAlmostEqual(low, 0.0)
        self.assertAlmostEqual(high, 1.96 ** 2 / (10 + 1.96 ** 2))
        low, high = wilson(5, 10)
        self.assertAlmostEqual((low + high) / 2, 0.5)

    def test_a_tempo_is_right_within_its_octave_alone(self):
        truth = {"tempo": 120.0, "key": "C major", "beats_per_bar": 4}
        self.assertTrue(is_right("tempo", truth, 121.0))
        self.assertFalse(is_right("tempo", truth, 60.0))
        self.assertFalse(is_right("tempo", truth, None))
        self.assertTrue(is_right("key", truth, "C major"))
        self.assertFalse(is_right("key", truth, None))
        self.assertFalse(is_right("beats_per_bar", truth, 2))


if __name__ == "__main__":
    unittest.main()
