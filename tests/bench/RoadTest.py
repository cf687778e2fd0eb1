"""Whole ways of audio: their figures, tables and targets, and what the probe measures."""

import os
import subprocess
import unittest

from bench.report import __main__ as program
from bench.report import measure, road, targets

PROBE = os.environ["QEL_ROAD_PROBE"]
KEY = "temporal properties"


def times(worst):
    return {"medianSeconds": 1e-6, "p9999Seconds": 2e-6, "worstSeconds": worst, "worstPush": 7}


class FiguresTest(unittest.TestCase):
    def test_a_row_is_its_least_cost_by_the_least_of_what_it_is_compared_with(self):
        found = road.of_rows({f"road cost/{road.READ}": [3.0, 2.0, 4.0],
                              f"road base/{road.READ}": [1.5, 1.0, 1.0]})
        self.assertEqual(found[f"road/{road.READ}"]["value"], 2.0)
        self.assertNotIn(f"road/{road.CSV}", found)

    def test_the_worst_live_push_is_judged_by_the_time_of_a_block(self):
        block_seconds = road.LIVE_BLOCK / road.LIVE_RATE_HZ
        found = road.of_live({**times(0.6 * block_seconds),
                              "parts": [times(0.6 * block_seconds), times(0.4 * block_seconds)]})
        rows = road.live_table(found).rows
        self.assertEqual([(row[0], row[-1]) for row in rows],
                         [("0 to 5", "<= 0.5 MISSED"), ("5 to 10", "<= 0.5 met"),
                          ("all", "<= 0.5 MISSED")])

    def test_every_row_has_a_target_and_a_place_in_the_table(self):
        self.assertEqual({name for name in targets.names() if name.startswith("road")},
                         {f"road/{row}" for row in road.ROWS} | {f"road memory/{road.FRESH_HUNGRY}"})
        shown = road.road_table({f"road/{road.CSV}": {"value": 2.0, "spread": 0.0}})
        verdicts = {row[0]: row[5] for row in shown.rows}
        self.assertEqual(verdicts[road.CSV], "<= 1.5 MISSED")
        self.assertEqual(verdicts[road.READ], "<= 2")

    def test_the_page_has_a_place_for_the_tables(self):
        page = program.PAGE.read_text(encoding="utf-8")
        once = program.filled(page, "new", road.BEGIN, road.END)
        self.assertIn("\nnew\n", once)
        self.assertEqual(program.filled(once, "new", road.BEGIN, road.END), once)


class RoadProbeTest(unittest.TestCase):
    def test_a_stream_has_costs_and_memory(self):
        found = measure.run_probe(PROBE, "stream", KEY)
        self.assertGreater(found["freshSeconds"], 0)
        self.assertGreater(found["warmSeconds"], 0)
        self.assertGreater(found["residentBytes"], 0)

    def test_samples_are_measured_with_keys_and_with_readings(self):
        for words in (("2", KEY), ("2",)):
            self.assertGreater(measure.run_probe(PROBE, "samples", *words)["seconds"], 0)

    def test_two_threads_are_measured_beside_one_after_the_other(self):
        found = measure.run_probe(PROBE, "threads", KEY)
        self.assertGreater(found["atOnceSeconds"], 0)
        self.assertGreater(found["inTurnsSeconds"], 0)

    def test_audio_has_its_channels_and_its_length(self):
        audio = subprocess.run([PROBE, "audio", "2", "0.5"], check=True, stdout=subprocess.PIPE).stdout
        self.assertEqual(len(audio), 22050 * 2 * 4)
        self.assertNotEqual(audio[0:4], audio[4:8])

    def test_a_wrong_call_is_refused(self):
        for words in ([], ["walk"], ["stream"], ["samples", "0"], ["audio", "2"], ["threads"]):
            self.assertEqual(subprocess.run([PROBE, *words], stderr=subprocess.DEVNULL).returncode, 2)


if __name__ == "__main__":
    unittest.main()
