"""Figures from what the programs print."""

import unittest

from bench.report import figures


def record(name, milliseconds, label="", minutes=1, family=0):
    return {"run_name": name, "label": label, "cpu_time": milliseconds, "time_unit": "ms",
            "minutes": minutes, "family_index": family}


def stream(seconds, megabytes, initialize=0.01, reset=0.001, allocations=0.0):
    return {"streamSeconds": seconds, "residentBytes": megabytes * 1e6,
            "initializeSeconds": initialize, "resetSeconds": reset,
            "allocationsPerBlock": allocations}


class FiguresTest(unittest.TestCase):
    def test_a_figure_is_the_least_with_the_distance_of_the_median(self):
        self.assertEqual(figures.figure([9.0, 2.0, 2.5]), {"value": 2.0, "spread": 0.25})

    def test_a_figure_of_zeros_has_no_spread(self):
        self.assertEqual(figures.figure([0.0, 0.0]), {"value": 0.0, "spread": 0.0})

    def test_costs_are_seconds_per_minute_of_audio(self):
        of = figures.of_benches([record("floor/f", 300.0, minutes=3),
                                 record("floor/f", 600.0, minutes=3)])
        self.assertAlmostEqual(of["cost/floor/f"]["value"], 0.1)
        self.assertAlmostEqual(of["cost/floor/f"]["spread"], 0.5)

    def test_a_ratio_is_by_the_sum_of_the_floors(self):
        of = figures.of_benches([record("floor/f", 10.0), record("floor/g", 30.0),
                                 record("group/both", 60.0, "floor/f + floor/g"),
                                 record("key/a", 20.0, "floor/f")])
        self.assertAlmostEqual(of["ratio/group/both"]["value"], 1.5)
        self.assertAlmostEqual(of["ratio/key/a"]["value"], 2.0)

    def test_the_spread_of_a_ratio_is_that_of_its_noisier_part(self):
        of = figures.of_benches([record("floor/f", ms) for ms in (10.0, 13.0, 14.0)]
                                + [record("key/a", ms, "floor/f") for ms in (20.0, 22.0, 24.0)])
        self.assertAlmostEqual(of["ratio/key/a"]["spread"], 0.3)

    def test_ours_stands_above_the_peer(self):
        of = figures.of_benches([record("key/a", 20.0, "floor/f"), record("floor/f", 10.0),
                                 record("peer/p", 80.0, "key/a")])
        self.assertAlmostEqual(of["against/key/a by peer/p"]["value"], 0.25)
        self.assertNotIn("ratio/peer/p", of)

    def test_the_order_is_that_of_the_benches_whenever_they_ran(self):
        of = figures.of_benches([record("floor/second", 1.0, family=1),
                                 record("floor/first", 1.0, family=0)])
        self.assertEqual(list(of), ["cost/floor/first", "cost/floor/second"])

    def test_other_units_of_time_are_refused(self):
        with self.assertRaises(ValueError):
            figures.of_benches([{**record("floor/f", 1.0), "time_unit": "ns"}])

    def test_growth_is_the_median_of_what_ran_in_turns(self):
        longs = [stream(11.0, 20.0) | {"wholeSeconds": whole, "partsSeconds": 10.0}
                 for whole in (15.0, 11.0, 10.5)]
        of = figures.of_streams({"a": {1: [stream(2.0, 8.0)], 5: longs}})
        self.assertAlmostEqual(of["growth/a/5"]["value"], 1.1)
        self.assertAlmostEqual(of["growth/a/5"]["spread"], 0.4 / 1.1)
        self.assertNotIn("growth/a/1", of)

    def test_seconds_and_memory_are_per_minute(self):
        of = figures.of_streams({"a": {1: [stream(2.0, 8.0), stream(2.2, 8.0)],
                                       5: [stream(11.0, 20.0) | {"wholeSeconds": 1.0,
                                                                 "partsSeconds": 1.0}]}})
        self.assertAlmostEqual(of["stream/a/5"]["value"], 2.2)
        self.assertAlmostEqual(of["memory/a/1"]["value"], 8.0)
        self.assertAlmostEqual(of["memory/a/5"]["value"], 4.0)

    def test_resets_are_by_the_first_set_up(self):
        of = figures.of_streams({"a": {1: [stream(1.0, 1.0, initialize=0.2, reset=0.01)]}})
        self.assertAlmostEqual(of["reset share/a"]["value"], 0.05)

    def test_a_document_of_another_form_is_refused(self):
        good = figures.document("m", {"cost/key/a": {"value": 1.0, "spread": 0.0}})
        self.assertEqual(figures.check_document(good), good)
        for bad in ({**good, "format": 0},
                    {**good, "figures": {"cost/key/a": {"value": 1.0}}}):
            with self.assertRaises(ValueError):
                figures.check_document(bad)


if __name__ == "__main__":
    unittest.main()
