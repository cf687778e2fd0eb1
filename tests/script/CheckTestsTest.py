"""The names of tests: which say what they test, and which do not."""

import unittest

from tests.script.Loading import load

check_tests = load("check-tests")

SOURCES = ["support/Ring.cpp", "support/Ring.h", "rhythm/beats/Beat.h", "rhythm/beats/Lanes.simd.cpp",
           "tools/qel/AnalyzeCommand.cpp", "script/check-tests", "cmake/batches.py"]


def faulty(*tests):
    return [fault.split(":")[0] for fault in check_tests.name_faults([*SOURCES, *tests])]


class CheckTestsTest(unittest.TestCase):
    def test_a_test_may_have_the_name_of_its_source(self):
        self.assertEqual(faulty("tests/support/RingTest.cpp", "tests/rhythm/beats/BeatTest.cpp",
                                "tests/rhythm/beats/LanesTest.cpp"), [])

    def test_a_test_may_tell_one_side_of_its_source(self):
        self.assertEqual(faulty("tests/support/RingBoundsTest.cpp", "tests/support/Ring16BitTest.cpp"), [])

    def test_the_name_of_a_source_ends_where_a_word_does(self):
        self.assertEqual(faulty("tests/support/RingsTest.cpp"), ["tests/support/RingsTest.cpp"])

    def test_a_source_of_another_folder_does_not_count(self):
        self.assertEqual(faulty("tests/pitch/RingTest.cpp"), ["tests/pitch/RingTest.cpp"])

    def test_scripts_may_have_dashes_and_underscores(self):
        self.assertEqual(faulty("tests/script/CheckTestsTest.py", "tests/script/BatchesTest.py"), [])

    def test_a_command_may_stand_without_its_last_word(self):
        self.assertEqual(faulty("tests/tools/qel/AnalyzeJsonTest.cpp"), [])

    def test_other_tests_end_in_their_kind(self):
        self.assertEqual(faulty("tests/support/ThreeFiltersAgreementTest.cpp"), [])
        self.assertEqual(faulty("tests/support/ThreeFiltersTest.cpp", "tests/keys/AgreementsTest.cpp"),
                         ["tests/support/ThreeFiltersTest.cpp", "tests/keys/AgreementsTest.cpp"])

    def test_helpers_of_tests_are_no_sources(self):
        self.assertEqual(faulty("tests/support/Model.cpp", "tests/support/ModelTest.cpp"),
                         ["tests/support/ModelTest.cpp"])

    def test_sources_without_a_test_of_their_name_are_listed_once(self):
        paths = [*SOURCES, "tests/support/RingBoundsTest.cpp", "tests/tools/qel/AnalyzeJsonTest.cpp"]
        self.assertEqual(check_tests.untested(paths), ["rhythm/beats/Lanes"])
        self.assertEqual(check_tests.untested(paths + ["tests/rhythm/LanesTest.cpp"]), [])


if __name__ == "__main__":
    unittest.main()
