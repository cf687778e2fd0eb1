"""Which test programs concern an edited file."""

import unittest

from tests.script.Loading import load

changed_tests = load("changed-tests")

NINJA = """
build all.dir/rhythm/Lag.cpp.o: CXX_COMPILER /root/rhythm/Lag.cpp
build all.dir/rhythm/beats/Beat.cpp.o: CXX_COMPILER /root/rhythm/beats/Beat.cpp
build all.dir/rhythm/math/Sum.cpp.o: CXX_COMPILER /root/rhythm/math/Sum.cpp
build all.dir/pitch/Tone.cpp.o: CXX_COMPILER /root/pitch/Tone.cpp
build lib/libAll.so: CXX_SHARED_LIBRARY_LINKER__All_Release all.dir/rhythm/Lag.cpp.o all.dir/rhythm/beats/Beat.cpp.o all.dir/rhythm/math/Sum.cpp.o all.dir/pitch/Tone.cpp.o
build tests/harness/CMakeFiles/Support.dir/Signals.cpp.o: CXX_COMPILER /root/tests/harness/Signals.cpp
build lib/libSupport.a: CXX_STATIC_LIBRARY_LINKER__Support_Release $
  tests/harness/CMakeFiles/Support.dir/Signals.cpp.o
build tests/rhythm/CMakeFiles/lag_tests.dir/batch0.cpp.o: CXX_COMPILER /root/build/batch0.cpp
build bin/lag_tests extra | more: CXX_EXECUTABLE_LINKER__lag_tests_Release $
  tests/rhythm/CMakeFiles/lag_tests.dir/batch0.cpp.o | lib/libAll.so || lib/libAll.so
build tests/rhythm/CMakeFiles/beat_tests.dir/beats/BeatTest.cpp.o: CXX_COMPILER /root/tests/rhythm/beats/BeatTest.cpp
build bin/beat_tests: CXX_EXECUTABLE_LINKER__beat_tests_Release $
  tests/rhythm/CMakeFiles/beat_tests.dir/beats/BeatTest.cpp.o | lib/libAll.so
build tests/pitch/CMakeFiles/tone_tests.dir/ToneTest.cpp.o: CXX_COMPILER /root/tests/pitch/ToneTest.cpp
build bin/tone_tests: CXX_EXECUTABLE_LINKER__tone_tests_Release $
  tests/pitch/CMakeFiles/tone_tests.dir/ToneTest.cpp.o | lib/libSupport.a lib/libAll.so
build tools/main.cpp.o: CXX_COMPILER /root/tools/main.cpp
build tools/many/Many.cpp.o: CXX_COMPILER /root/tools/many/Many.cpp
build bin/tool: CXX_EXECUTABLE_LINKER__tool_Release tools/main.cpp.o tools/many/Many.cpp.o | lib/libAll.so
build tests/tools/CMakeFiles/tool_tests.dir/RunTest.cpp.o: CXX_COMPILER /root/tests/tools/RunTest.cpp
build bin/tool_tests: CXX_EXECUTABLE_LINKER__tool_tests_Release $
  tests/tools/CMakeFiles/tool_tests.dir/RunTest.cpp.o || bin/tool
build tests/many/CMakeFiles/many_tests.dir/CountTest.cpp.o: CXX_COMPILER /root/tests/many/CountTest.cpp
build bin/many_tests: CXX_EXECUTABLE_LINKER__many_tests_Release $
  tests/many/CMakeFiles/many_tests.dir/CountTest.cpp.o || bin/tool
"""

REPORTED = """tests/rhythm/CMakeFiles/lag_tests.dir/batch0.cpp.o: #deps 3, deps mtime 1 (VALID)
    /root/build/batch0.cpp
    /root/tests/rhythm/LagTest.cpp
    /root/rhythm/Lag.h

tests/rhythm/CMakeFiles/beat_tests.dir/beats/BeatTest.cpp.o: #deps 1, deps mtime 1 (VALID)
    /root/tests/rhythm/beats/BeatTest.cpp

all.dir/rhythm/Lag.cpp.o: #deps 1, deps mtime 1 (VALID)
    /root/rhythm/Lag.h

tests/pitch/CMakeFiles/tone_tests.dir/ToneTest.cpp.o: #deps 1, deps mtime 1 (VALID)
    ../../tests/harness/Signals.h
"""


class ChangedTestsTest(unittest.TestCase):
    def concerned(self, *edited):
        return changed_tests.concerned(changed_tests.Graph(NINJA, REPORTED, "/root/build/release"), "/root", edited)

    def test_a_test_concerns_its_program_also_through_a_batch(self):
        self.assertEqual(self.concerned("tests/rhythm/LagTest.cpp"), ["lag_tests"])
        self.assertEqual(self.concerned("tests/pitch/ToneTest.cpp"), ["tone_tests"])

    def test_what_tests_share_concerns_all_that_include_or_link_it(self):
        self.assertEqual(self.concerned("tests/harness/Signals.h"), ["tone_tests"])
        self.assertEqual(self.concerned("tests/harness/Signals.cpp"), ["tone_tests"])

    def test_a_source_of_the_library_concerns_the_tests_of_its_folder(self):
        self.assertEqual(self.concerned("rhythm/Lag.cpp"), ["beat_tests", "lag_tests"])
        self.assertEqual(self.concerned("rhythm/Lag.h"), ["beat_tests", "lag_tests"])
        self.assertEqual(self.concerned("rhythm/beats/Beat.cpp", "pitch/Tone.cpp"),
                         ["beat_tests", "tone_tests"])

    def test_programs_of_one_list_are_told_apart_by_the_folders_of_their_tests(self):
        self.assertEqual(self.concerned("rhythm/beats/Beat.cpp"), ["beat_tests"])

    def test_a_source_without_a_mirrored_folder_concerns_the_tests_of_the_folder_above(self):
        self.assertEqual(self.concerned("rhythm/math/Sum.cpp"), ["beat_tests", "lag_tests"])

    def test_a_source_of_the_tool_concerns_the_tests_that_run_the_tool(self):
        self.assertEqual(self.concerned("tools/main.cpp"), ["tool_tests"])

    def test_a_part_of_the_tool_concerns_the_folder_of_its_own_that_its_tests_have(self):
        self.assertEqual(self.concerned("tools/many/Many.cpp"), ["many_tests"])

    def test_what_no_program_is_made_from_concerns_none(self):
        self.assertEqual(self.concerned("rhythm/New.cpp", "README.md"), [])

    def test_tests_of_a_program_are_chosen_by_their_numbers(self):
        listed = [{"command": ["/root/build/bin/a"]}, {"command": ["/root/build/bin/b", "--x"]}, {},
                  {"command": ["/root/build/bin/a", "b"]}]
        self.assertEqual(changed_tests.numbers_of(listed, {"a"}), [1, 4])
        self.assertEqual(changed_tests.numbers_of(listed, {"b"}), [2])


if __name__ == "__main__":
    unittest.main()
