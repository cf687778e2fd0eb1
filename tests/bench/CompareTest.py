"""What counts as moved."""

import unittest

from bench.report import compare


def run(machine="one", **values):
    """A document with figures of some value and spread."""
    return {"format": 1, "machine": machine,
            "figures": {name: {"value": value, "spread": spread}
                        for name, (value, spread) in values.items()}}


class CompareTest(unittest.TestCase):
    def test_a_change_within_the_spread_is_noise(self):
        lines, moved = compare.compare(run(**{"ratio/key/a": (2.0, 0.1)}),
                                       run(**{"ratio/key/a": (2.19, 0.02)}))
        self.assertFalse(moved)
        self.assertEqual(lines, ["0 of 1 figures moved beyond the noise"])

    def test_a_change_beyond_both_spreads_is_named_with_its_direction(self):
        old = run(**{"ratio/key/a": (2.0, 0.1), "ratio/key/b": (1.0, 0.0)})
        new = run(**{"ratio/key/a": (2.5, 0.1), "ratio/key/b": (0.5, 0.0)})
        lines, moved = compare.compare(old, new)
        self.assertTrue(moved)
        self.assertEqual(lines[0], "worse   ratio/key/a: 2 -> 2.5, +25.0 %, noise 10.0 %")
        self.assertEqual(lines[1], "better  ratio/key/b: 1 -> 0.5, -50.0 %, noise 0.0 %")
        self.assertEqual(lines[2], "2 of 2 figures moved beyond the noise")

    def test_the_noise_is_that_of_the_worse_run(self):
        calm, noisy = {"value": 1.0, "spread": 0.0}, {"value": 1.4, "spread": 0.5}
        self.assertFalse(compare.moved("ratio/key/a", calm, noisy))
        self.assertFalse(compare.moved("ratio/key/a", noisy, calm))
        self.assertTrue(compare.moved("ratio/key/a", calm, {"value": 1.4, "spread": 0.3}))

    def test_tiny_changes_without_any_noise_are_left_out(self):
        exact = {"value": 100.0, "spread": 0.0}
        self.assertFalse(compare.moved("ratio/key/a", exact, {"value": 100.9, "spread": 0.0}))
        self.assertTrue(compare.moved("ratio/key/a", exact, {"value": 101.1, "spread": 0.0}))

    def test_a_few_pages_of_memory_are_left_out(self):
        for megabytes, verdict in ((0.55, False), (0.65, True)):
            self.assertEqual(compare.moved("memory/a/5", {"value": 0.5, "spread": 0.0},
                                           {"value": megabytes, "spread": 0.0}), verdict)

    def test_an_allocation_where_there_was_none_is_a_change(self):
        lines, moved = compare.compare(run(**{"allocations/a": (0.0, 0.0)}),
                                       run(**{"allocations/a": (0.1, 0.0)}))
        self.assertTrue(moved)
        self.assertTrue(lines[0].startswith("worse   allocations/a: 0 -> 0.1"), lines[0])

    def test_seconds_of_another_machine_are_not_compared(self):
        old = run(machine="one", **{"cost/key/a": (1.0, 0.0), "ratio/key/a": (2.0, 0.0)})
        new = run(machine="two", **{"cost/key/a": (9.0, 0.0), "ratio/key/a": (3.0, 0.0)})
        lines, _ = compare.compare(old, new)
        self.assertIn("Another machine", lines[0])
        self.assertEqual(len(lines), 3)
        self.assertIn("ratio/key/a", lines[1])

    def test_floors_and_peers_are_not_ours_to_change(self):
        old = run(**{"cost/floor/f": (1.0, 0.0), "cost/peer/p": (1.0, 0.0)})
        new = run(**{"cost/floor/f": (2.0, 0.0), "cost/peer/p": (2.0, 0.0)})
        self.assertEqual(compare.compare(old, new),
                         (["0 of 0 figures moved beyond the noise"], False))

    def test_figures_of_one_run_alone_are_left_out(self):
        lines, moved = compare.compare(run(**{"ratio/key/a": (1.0, 0.0)}),
                                       run(**{"ratio/key/b": (9.0, 0.0)}))
        self.assertFalse(moved)
        self.assertEqual(lines, ["0 of 0 figures moved beyond the noise"])


if __name__ == "__main__":
    unittest.main()
