"""Counts of instructions: what fails, what is stored, and that every key and reading is counted."""

import os
import tempfile
import unittest
import unittest.mock
from pathlib import Path

from bench.report import instructions, measure

PROBE = os.environ["QEL_INSTRUCTION_PROBE"]


def stored(**counts):
    return {name: {"instructions": value, "reason": "first"} for name, value in counts.items()}


class FailuresTest(unittest.TestCase):
    def test_a_count_up_to_the_limit_passes(self):
        self.assertEqual(instructions.failures(stored(a=1000), {"a": 1050}, complete=True), [])

    def test_a_count_above_the_limit_fails_with_both_counts(self):
        self.assertEqual(instructions.failures(stored(a=1000), {"a": 1051}, complete=True),
                         ["a: 1000 -> 1051 instructions, +5.10 %, limit +5 %"])

    def test_a_lower_count_passes(self):
        self.assertEqual(instructions.failures(stored(a=1000), {"a": 500}, complete=True), [])

    def test_a_new_key_without_a_stored_count_fails(self):
        self.assertEqual(instructions.failures({}, {"a": 1}, complete=True),
                         ["a: no count is stored"])

    def test_a_stored_count_of_no_key_fails_where_all_were_counted(self):
        figures = stored(a=1, b=1)
        self.assertEqual(len(instructions.failures(figures, {"a": 1}, complete=True)), 1)
        self.assertEqual(instructions.failures(figures, {"a": 1}, complete=False), [])


class RenewedTest(unittest.TestCase):
    def test_a_count_within_the_limit_stays_so_that_small_steps_add_up(self):
        figures = stored(a=1000)
        once = instructions.renewed(figures, {"a": 1040}, "why", complete=True)
        self.assertEqual(once, figures)
        self.assertEqual(len(instructions.failures(once, {"a": 1080}, complete=True)), 1)

    def test_a_count_beyond_the_limit_is_stored_with_its_reason(self):
        for value in (1100, 900):
            self.assertEqual(
                instructions.renewed(stored(a=1000), {"a": value}, "why", complete=True),
                {"a": {"instructions": value, "reason": "why"}})

    def test_what_was_not_counted_stays_only_where_a_part_was_counted(self):
        figures = stored(a=1000, b=1000)
        self.assertEqual(instructions.renewed(figures, {"a": 1000}, "why", complete=False), figures)
        self.assertEqual(instructions.renewed(figures, {"a": 1000}, "why", complete=True),
                         stored(a=1000))

    def test_storing_without_a_reason_is_refused(self):
        for words in (["--save"], ["--save", "--because", " "], ["--because", "why"]):
            with self.assertRaises(SystemExit), open(os.devnull, "w") as sink:
                with unittest.mock.patch("sys.stderr", sink):
                    instructions.arguments(words)


class CallgrindTest(unittest.TestCase):
    def test_each_file_belongs_to_the_subject_of_its_place(self):
        with tempfile.TemporaryDirectory() as folder:
            for i in range(1, 12):
                Path(folder, f"out.{i}").write_text(f"events: Ir\n1 2\ntotals: {i}\n")
            Path(folder, "out").write_text("totals: 0\n")
            names = [f"key/{i}" for i in range(1, 12)]
            self.assertEqual(instructions.counts_of(names, Path(folder)),
                             {f"key/{i}": i for i in range(1, 12)})
            with self.assertRaisesRegex(RuntimeError, "one file for each of 10"):
                instructions.counts_of(names[:-1], Path(folder))

    def test_a_count_of_nothing_is_a_failure(self):
        with tempfile.TemporaryDirectory() as folder:
            Path(folder, "out.1").write_text("totals: 0\n")
            with self.assertRaisesRegex(RuntimeError, "counted nothing for key/a"):
                instructions.counts_of(["key/a"], Path(folder))

    def test_a_processor_without_avx2_is_refused(self):
        instructions.require_processor("flags\t\t: fpu avx avx2 bmi1\n")
        for flags in ("flags\t\t: fpu avx avx2x\n", "Features\t: fp asimd\n"):
            with self.assertRaisesRegex(RuntimeError, "AVX2"):
                instructions.require_processor(flags)


class StoredTest(unittest.TestCase):
    def test_every_key_and_reading_has_a_stored_count_and_a_reason(self):
        figures = instructions.load()["figures"]
        listed = instructions.output_of(PROBE, "--list")
        self.assertEqual(list(figures), listed)
        self.assertLess({"key/" + key for key in measure.list_keys(os.environ["QEL_BENCH"])},
                        set(listed))

    def test_a_stored_count_without_a_reason_is_refused(self):
        with tempfile.TemporaryDirectory() as folder:
            path = Path(folder, "stored.json")
            path.write_text('{"format": 1, "build": "b", "figures": '
                            '{"a": {"instructions": 1, "reason": " "}}}')
            with self.assertRaisesRegex(ValueError, "'a' is not a count and a reason"):
                instructions.load(path)


if __name__ == "__main__":
    unittest.main()
