"""script/test-times: tests of suites by name, and runs of which something is missing."""

import contextlib
import io
import tempfile
import unittest
from pathlib import Path

from tests.script.Loading import load

times = load("test-times")

CTEST = """<testsuite>
<testcase name="Signals/CepstrumTest" time="2.0" status="{status}">
<system-out>[ RUN      ] Signals/CepstrumTest.NoiseIsFlat/1
</system-out></testcase>
<testcase name="Soak.Minutes" time="3.0" status="run"/>
</testsuite>"""

SUITE = """<testsuites><testsuite>
<testcase name="NoiseIsFlat/0" time="0.5" result="completed" classname="Signals/CepstrumTest"/>
<testcase name="NoiseIsFlat/1" time="0.5" result="{result}" classname="Signals/CepstrumTest">{inside}
</testcase></testsuite></testsuites>"""


class Times(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.results = Path(self.folder.name, "tests.xml")

    def write(self, status="run", result="completed", inside="", hasSuite=True):
        self.results.write_text(CTEST.format(status=status))
        if hasSuite:
            path = Path(self.folder.name, "suites", "timbre_tests", "Signals-CepstrumTest.xml")
            path.parent.mkdir(parents=True)
            path.write_text(SUITE.format(result=result, inside=inside))

    def said(self, *arguments):
        out = io.StringIO()
        with contextlib.redirect_stdout(out):
            status = times.main([*arguments[:-1], str(arguments[-1])])
        return status, out.getvalue()

    def test_tests_of_a_suite_count_one_by_one_and_its_start_is_its_own(self):
        self.write()
        _, text = self.said(self.results)
        self.assertIn("3 tests in 2 suites took 5 s", text)
        self.assertIn("2.0 s     2 tests  CepstrumTest", text)

    def test_a_failed_test_is_named(self):
        self.write(status="fail", inside="<failure/>")
        _, text = self.said(self.results)
        self.assertIn("failed: Signals/CepstrumTest.NoiseIsFlat/1\n", text)
        self.assertNotIn("NoiseIsFlat/0", text)

    def test_a_crash_names_the_test_that_had_begun(self):
        self.write(status="fail", hasSuite=False)
        _, text = self.said(self.results)
        self.assertIn("failed: Signals/CepstrumTest.NoiseIsFlat/1\n", text)

    def test_a_suite_without_results_has_failed(self):
        self.write(hasSuite=False)
        status, text = self.said(self.results)
        self.assertEqual(1, status)
        self.assertIn("failed: Signals/CepstrumTest, which left no results\n", text)

    def test_a_test_within_a_suite_that_skips_itself_is_found(self):
        self.write(result="skipped")
        status, text = self.said("--none-skipped", self.results)
        self.assertEqual(1, status)
        self.assertIn("did not run: Signals/CepstrumTest.NoiseIsFlat/1\n", text)
        self.assertIn("2 of 3 tests ran", text)

    def test_a_run_without_gaps_passes(self):
        self.write()
        status, _ = self.said("--none-skipped", self.results)
        self.assertEqual(0, status)


if __name__ == "__main__":
    unittest.main()
