"""script/check-includes on trees with faults, each made here."""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from tests.script.Loading import SCRIPTS, load

check = load("check-includes")

# low stands below the two rooms of mid, and these below high.
TABLE = {"low": set(), "mid/left": {"low"}, "mid/right": {"low"},
         "high": {"low", "mid/left", "mid/right"}, "tests": None}


def faults(*includes, table=TABLE):
    return check.include_faults([(path, 1, header) for path, header in includes], table)


class Includes(unittest.TestCase):
    def test_downward_ones_and_those_of_the_own_room_pass(self):
        self.assertEqual([], faults(
            ("high/A.cpp", "mid/left/B.h"), ("high/A.cpp", "low/C.h"), ("high/A.cpp", "high/A.h"),
            ("mid/left/B.h", "mid/left/D.h"), ("mid/left/B.h", "vector"), ("low/C.h", "hwy/base.h"),
            ("tests/high/ATest.cpp", "mid/right/E.h")))

    def test_an_upward_one_fails_with_file_and_line(self):
        self.assertEqual(["low/C.h:1: mid/left/B.h: mid/left is above low"],
                         faults(("low/C.h", "mid/left/B.h")))

    def test_one_to_a_room_that_the_row_does_not_name_fails(self):
        self.assertEqual(["mid/right/E.h:1: mid/left/B.h: mid/right may not include mid/left"],
                         faults(("mid/right/E.h", "mid/left/B.h")))

    def test_nobody_may_include_the_tests(self):
        self.assertEqual(1, len(faults(("high/A.cpp", "tests/T.h"))))

    def test_a_circle_fails_even_where_each_row_allows_it(self):
        table = {"one": {"three"}, "two": {"one"}, "three": {"two"}}
        found = faults(("one/A.h", "three/C.h"), ("two/B.h", "one/A.h"), ("three/C.h", "two/B.h"),
                       table=table)
        self.assertIn("in a circle: one -> three -> two -> one", found)

    def test_two_ways_down_to_one_room_are_no_circle(self):
        self.assertEqual([], faults(
            ("high/A.h", "mid/left/B.h"), ("high/A.h", "mid/right/E.h"),
            ("mid/left/B.h", "low/C.h"), ("mid/right/E.h", "low/C.h")))


class Tables(unittest.TestCase):
    def test_a_row_may_not_name_a_room_above_it(self):
        self.assertEqual(["table: low names high, which does not stand below it"],
                         check.table_faults({"low": {"high"}, "high": set()}))

    def test_two_rows_may_not_name_each_other(self):
        self.assertEqual(1, len(check.table_faults({"a": {"b"}, "b": {"a"}})))

    def test_the_table_in_use_has_no_such_row(self):
        self.assertEqual([], check.table_faults(check.ALLOWED))

    def test_a_folder_without_a_row_fails(self):
        for path in ("other/A.cpp", "mid/A.cpp", "mid/third/A.cpp", "A.cpp"):
            self.assertEqual(1, len(check.folder_faults([path], TABLE)), path)

    def test_a_folder_within_an_undivided_room_belongs_to_it(self):
        self.assertEqual([], check.folder_faults(["high/inner/A.cpp", "mid/left/inner/B.h"], TABLE))


class Names(unittest.TestCase):
    def test_a_file_with_vector_loops_says_so(self):
        text = "namespace HWY_NAMESPACE {}"
        self.assertIsNotNone(check.name_fault("low/Sums.cpp", text))
        self.assertIsNone(check.name_fault("low/Sums.simd.cpp", text))

    def test_one_without_does_not(self):
        self.assertIsNotNone(check.name_fault("low/Sums.simd.h", "int x;"))
        self.assertIsNone(check.name_fault("low/Sums.h", "int x;"))


class Script(unittest.TestCase):
    """The whole script, with its own table, in a repository of one or two files."""

    def run_on(self, **files):
        with tempfile.TemporaryDirectory() as directory:
            subprocess.run(["git", "init", "-q", directory], check=True)
            for path, text in files.items():
                path = Path(directory, path)
                path.parent.mkdir(parents=True)
                path.write_text(text, encoding="utf-8")
            subprocess.run(["git", "-C", directory, "add", "."], check=True)
            done = subprocess.run([sys.executable, str(SCRIPTS / "check-includes")], cwd=directory, capture_output=True,
                                  text=True, check=False)
            return done.returncode, done.stdout

    def test_passes_on_an_include_that_goes_down(self):
        code, _ = self.run_on(**{"spectral/A.cpp": '#include "support/audio/B.h"\n'})
        self.assertEqual(0, code)

    def test_fails_on_one_that_goes_up(self):
        code, said = self.run_on(**{"spectral/A.cpp": '\n#  include "rhythm/beats/B.h"\n'})
        self.assertEqual((1, "spectral/A.cpp:2: rhythm/beats/B.h: rhythm/beats is above spectral\n"),
                         (code, said))

    def test_fails_on_two_rooms_that_include_each_other(self):
        code, said = self.run_on(**{"spectral/A.h": '#include "engine/base/B.h"\n',
                                    "engine/base/B.h": '#include "spectral/A.h"\n'})
        self.assertEqual(1, code)
        self.assertIn("in a circle: spectral -> engine/base -> spectral", said)

    def test_fails_where_there_is_nothing_to_check(self):
        self.assertEqual(1, self.run_on()[0])


if __name__ == "__main__":
    unittest.main()
