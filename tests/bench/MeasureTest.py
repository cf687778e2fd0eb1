"""The two programs, by a key that is cheap."""

import json
import os
import subprocess
import unittest

from bench.report import figures, measure

KEY = "temporal properties"
BENCH = os.environ["QEL_BENCH"]
PROBE = os.environ["QEL_STREAM_PROBE"]


class BenchTest(unittest.TestCase):
    def test_a_key_and_its_floor_give_a_ratio(self):
        out = subprocess.run(
            [BENCH, f"--benchmark_filter=key/{KEY}$|floor/transforms of 1024, hop 512$",
             "--benchmark_format=json", "--benchmark_min_time=0.01"],
            check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True).stdout
        of = figures.of_benches(json.loads(out)["benchmarks"])
        self.assertEqual(sorted(of), ["cost/floor/transforms of 1024, hop 512",
                                      f"cost/key/{KEY}", f"ratio/key/{KEY}"])
        self.assertGreater(of[f"ratio/key/{KEY}"]["value"], 0)


@unittest.skipIf(PROBE == "", "no probe under a checker")
class ProbeTest(unittest.TestCase):
    def test_a_stream_gives_all_of_its_figures(self):
        plan = [(KEY, [KEY], 1, 1)]
        of = figures.of_streams(measure.run_streams(PROBE, plan))
        self.assertEqual(sorted(of), sorted([
            f"initialize/{KEY}", f"reset/{KEY}", f"reset share/{KEY}", f"allocations/{KEY}",
            f"stream/{KEY}/1", f"memory/{KEY}/1"]))
        self.assertGreater(of[f"stream/{KEY}/1"]["value"], 0)
        self.assertGreater(of[f"memory/{KEY}/1"]["value"], 0)

    def test_a_stream_of_minutes_runs_beside_as_many_streams_of_one(self):
        of = figures.of_streams(measure.run_streams(PROBE, [(KEY, [KEY], 1, 1), (KEY, [KEY], 2, 1)]))
        # Both do the same per sample. Anything else would be off by a factor of 2.
        self.assertGreater(of[f"growth/{KEY}/2"]["value"], 0.6)
        self.assertLess(of[f"growth/{KEY}/2"]["value"], 1.7)

    def test_a_stream_that_keeps_every_frame_is_seen_to(self):
        # 8 bytes for each of 256 bins of a frame, and its 64 samples.
        run = measure.run_streams(PROBE, [("r", [measure.HUNGRY_KEY], 1, 1)])["r"][1][0]
        frames = 60 * 44100 / 64
        self.assertGreater(run["residentBytes"], (8 * 256 + 4 * 64) * frames)

    def test_a_wrong_call_is_refused(self):
        for words in ([], ["1"], ["0", KEY], ["--growth"], ["--growth", "2"]):
            self.assertEqual(subprocess.run([PROBE, *words], stderr=subprocess.DEVNULL).returncode, 2)

    def test_an_unknown_key_is_a_failure(self):
        run = subprocess.run([PROBE, "1", "no such key"], stderr=subprocess.PIPE, text=True)
        self.assertEqual(run.returncode, 1)
        self.assertIn("no results", run.stderr)


if __name__ == "__main__":
    unittest.main()
