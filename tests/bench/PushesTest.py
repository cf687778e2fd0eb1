"""Figures and tables of single pushes."""

import os
import subprocess
import unittest

from bench.report import measure, pushes, targets

PROBE = os.environ["QEL_PUSH_PROBE"]
KEY = "temporal properties"


def times(worst, frame):
    return {"medianSeconds": 1e-6, "p9999Seconds": 2e-6, "worstSeconds": worst, "worstPush": 7,
            "frameSeconds": frame}


class PushesTest(unittest.TestCase):
    def test_the_worst_push_is_judged_by_those_of_a_frame(self):
        figures = pushes.figures_of({("tempo", 64, "declared"): times(9e-6, 2e-6),
                                     ("tempo", 64, "unknown"): times(6e-6, 2e-6)})
        self.assertEqual(pushes.block_table(figures, 64).rows,
                         [["tempo", "1.00", "2.00", "2.00", "9.00", "4.50", "<= 3 MISSED", "6.00",
                           "3.00", "<= 3 met"]])
        self.assertEqual(len(pushes.tables(figures)), 1)

    def test_all_keys_together_are_judged_by_the_time_of_a_block(self):
        block_seconds = 256 / 44100
        figures = pushes.figures_of({(pushes.ALL_PER_FRAME, 256, "declared"):
                                     times(0.6 * block_seconds, 1e-6)})
        self.assertEqual(pushes.judged(figures, f"{pushes.ALL_PER_FRAME}/256/declared"),
                         "<= 0.5 MISSED of the block")
        self.assertIsNone(targets.limit_of(f"push ratio/{pushes.ALL_PER_FRAME}/256/declared"))

    def test_every_key_is_timed_at_every_block_that_it_takes(self):
        plan = pushes.plan(["tempo", "audio range"], together=True)
        self.assertEqual([(name, block) for name, _, block, length in plan if length == "unknown"],
                         [("tempo", 64), ("tempo", 256), ("tempo", 1024), ("audio range", 1024),
                          (pushes.ALL_PER_FRAME, 64), (pushes.ALL_PER_FRAME, 256),
                          (pushes.ALL_PER_FRAME, 1024)])
        self.assertEqual(plan[-1][1], ["tempo"])

    def test_the_whole_stream_keys_are_keys(self):
        self.assertLess(set(pushes.WHOLE_STREAM_KEYS),
                        set(measure.list_keys(os.environ["QEL_BENCH"])))


class PushProbeTest(unittest.TestCase):
    def test_a_stream_gives_times_in_their_order(self):
        found = measure.run_probe(PROBE, "1024", "1", "unknown", KEY)
        self.assertGreater(found["medianSeconds"], 0)
        self.assertLessEqual(found["medianSeconds"], found["p9999Seconds"])
        self.assertLessEqual(found["p9999Seconds"], found["worstSeconds"])
        self.assertLessEqual(found["frameSeconds"], found["worstSeconds"])
        self.assertGreater(found["frameSeconds"], 0)

    def test_a_wrong_call_is_refused(self):
        for words in ([], ["64", "1", "declared"], ["0", "1", "declared", KEY],
                      ["64", "1", "perhaps", KEY], ["--live", "64", "1"]):
            self.assertEqual(subprocess.run([PROBE, *words], stderr=subprocess.DEVNULL).returncode, 2)

    def test_an_unknown_key_is_a_failure(self):
        run = subprocess.run([PROBE, "64", "1", "declared", "no such key"],
                             stderr=subprocess.PIPE, text=True)
        self.assertEqual(run.returncode, 1)
        self.assertIn("no such key", run.stderr)


if __name__ == "__main__":
    unittest.main()
