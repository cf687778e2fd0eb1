"""Targets."""

import os
import unittest

from bench.report import measure, targets


class TargetsTest(unittest.TestCase):
    def test_a_target_is_met_up_to_its_limit(self):
        self.assertTrue(targets.is_met("ratio/key/tempo", 3.0))
        self.assertFalse(targets.is_met("ratio/key/tempo", 3.01))

    def test_peers_and_growth_have_one_target_for_all(self):
        self.assertEqual(targets.limit_of("against/key/tempo by peer/x"), 0.5)
        self.assertEqual(targets.limit_of("growth/tempo/60"), 1.15)
        self.assertIsNone(targets.limit_of("growth/tempo/5"))
        self.assertIsNone(targets.limit_of("cost/key/tempo"))

    def test_one_peer_has_a_target_of_its_own(self):
        self.assertEqual(targets.limit_of("against/key/onset data by peer/libaubio: onsets"), 0.25)

    def test_memory_has_a_target_at_every_length(self):
        self.assertEqual(targets.limit_of("memory/onset data/1"), 4.0)
        self.assertEqual(targets.limit_of("memory/onset data/60"), 4.0)
        self.assertIsNone(targets.limit_of("memory/tempo/60"))

    def test_a_peer_on_decimated_audio_is_no_target(self):
        peer = "against/key/global key by peer/libqm-dsp: key"
        self.assertIsNone(targets.limit_of(peer))
        self.assertEqual(targets.limit_of(peer + ", at our hop"), 0.5)

    def test_blocks_in_the_steady_state_allocate_nothing(self):
        self.assertTrue(targets.is_met("allocations/tempo", 0.0))
        self.assertFalse(targets.is_met("allocations/tempo", 1.0))

    def test_every_target_is_about_something_that_is_measured(self):
        keys = measure.list_keys(os.environ["QEL_BENCH"])
        benches = measure.list_benches(os.environ["QEL_BENCH"])
        self.assertEqual(len(keys), 30)
        for name in targets.names():
            if name.startswith("road"): # RoadTest has them
                continue
            kind, subject = name.split("/", 1)
            if kind == "against":
                self.assertIn(subject.split(" by ")[0], benches)  # peers may be missing
            elif kind == "ratio":
                self.assertIn(subject, benches)
            elif kind == "memory":
                self.assertEqual(subject, f"{measure.ALL_BUT_HUNGRY}/{measure.LONG_MINUTES[-1]}")
            else:
                self.assertIn(subject, keys)

    def test_the_hungry_key_stays_out_of_long_streams(self):
        plan = measure.stream_plan(["tempo", measure.HUNGRY_KEY], (1, 60), together=True)
        self.assertEqual([(name, minutes) for name, _, minutes, _ in plan],
                         [("tempo", 1), ("tempo", 60), (measure.HUNGRY_KEY, 1),
                          (measure.ALL_BUT_HUNGRY, 1), (measure.ALL_BUT_HUNGRY, 60)])
        self.assertEqual(plan[-1][1], ["tempo"])


if __name__ == "__main__":
    unittest.main()
