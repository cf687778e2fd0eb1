"""Tables of the Python package and its peers."""

import unittest

from bench.python import tables
from bench.python.features import FEATURES, TOGETHER

SYSTEMS = ["ours", "a", "b"]


def measured(ours=1.0, a=2.5, b=4.0, together=2.0):
    rows = {feature.name: {"ours": ours, "a": a, "b": b} for feature in FEATURES}
    return rows | {TOGETHER.name: {"ours": together}}


class TablesTest(unittest.TestCase):
    def row(self, figures, name):
        return next(row for row in tables.figures_table(figures, SYSTEMS).rows if row[0] == name)

    def test_the_fastest_peer_counts(self):
        self.assertEqual(self.row(measured(), "onsets"),
                         ["onsets", "1.0000", "2.5000", "4.0000", "2.50", ">= 2 met"])

    def test_a_missed_target_says_so(self):
        self.assertEqual(self.row(measured(a=1.5), "onsets")[-2:], ["1.50", ">= 2 MISSED"])

    def test_a_peer_without_the_feature_has_a_dash(self):
        figures = measured()
        del figures["onsets"]["a"]
        self.assertEqual(self.row(figures, "onsets")[2:5], ["-", "4.0000", "4.00"])

    def test_one_call_stands_beside_the_sum_of_the_fastest_peers(self):
        figures = measured(together=5.0)
        figures["partials"]["b"] = 0.5
        figures["MFCC"]["b"] = 0.1  # is no key: not in the one call
        # Six features of 2.5 s and one of 0.5 s.
        self.assertEqual(len(FEATURES), 8)
        self.assertEqual(self.row(figures, TOGETHER.name)[-2:], ["3.10", ">= 3 met"])
        self.assertEqual(self.row(figures, TOGETHER.name)[2], "fastest of each: 15.5000")

    def test_each_feature_has_its_settings(self):
        self.assertEqual([row[0] for row in tables.settings_table().rows],
                         [row[0] for row in tables.figures_table(measured(), SYSTEMS).rows])


if __name__ == "__main__":
    unittest.main()
