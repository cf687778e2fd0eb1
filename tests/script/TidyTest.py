"""script/tidy on sources with and without a fault, each made here."""

import shutil
import tempfile
import unittest
from pathlib import Path
from unittest import mock

from tests.script.Loading import SCRIPTS, load

tidy = load("tidy")

FAULTY = "int* Nothing() {\n    return 0;\n}\n"
CLEAN = "int* Nothing() {\n    return nullptr;\n}\n"


class Flags(unittest.TestCase):
    def test_only_those_that_decide_the_meaning_are_kept(self):
        command = "ccache c++ -DA=1 -I/b -isystem /c -O3 -Wall -std=c++20 -MD -o x.o -c x.cpp"
        self.assertEqual(["-DA=1", "-I/b", "-isystem /c", "-std=c++20"], tidy.flags_of(command))

    def test_a_macro_may_have_spaces(self):
        group = tidy.Group("C++")
        group.add(Path("x.cpp"), tidy.flags_of('c++ "-DA=\\"b c\\"" -isystem /c -c x.cpp'))
        self.assertEqual(('-DA="b c"', "-isystem", "/c"), group.arguments())


@unittest.skipUnless(shutil.which("clang-tidy-14") or shutil.which("clang-tidy"), "no clang-tidy")
class Sources(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.folder = Path(directory.name)
        shutil.copy(SCRIPTS.parent / ".clang-tidy", self.folder)
        root = mock.patch.object(tidy, "ROOT", self.folder)
        root.start()
        self.addCleanup(root.stop)
        self.tidy = tidy.Tidy(self.folder)

    def faults(self, *texts):
        paths = [self.folder / f"{name}.cpp" for name, _ in zip("abc", texts)]
        for path, text in zip(paths, texts):
            path.write_text(text, encoding="utf-8")
        sources = [tidy.batches.Source(path, set()) for path in paths]
        return self.tidy.faults((("-std=c++20",), sources), again=False)

    def test_a_fault_is_said(self):
        self.assertIn("modernize-use-nullptr", self.faults(FAULTY))
        self.assertIn("modernize-use-nullptr", self.faults(FAULTY), "and is not remembered as clean")

    def test_a_fault_in_a_batch_is_said_with_the_name_of_its_source(self):
        said = self.faults(CLEAN, FAULTY.replace("Nothing", "Other"))
        self.assertIn("b.cpp:2:", said)

    def test_what_is_clean_is_read_once_until_it_changes(self):
        self.assertEqual("", self.faults(CLEAN))
        with mock.patch.object(self.tidy, "read", side_effect=AssertionError("read again")):
            self.assertEqual("", self.faults(CLEAN))
        self.assertIn("modernize-use-nullptr", self.faults(FAULTY))

    def test_sources_that_disturb_each_other_are_read_one_by_one(self):
        self.assertEqual("", self.faults(CLEAN, CLEAN))

    def test_sources_that_are_compiled_as_one_file_are_found(self):
        (self.folder / "batches").mkdir()
        batch = self.folder / "batches" / "Library0.simd.cpp"
        batch.write_text('#include <hwy/foreach_target.h>\n#include "x/A.simd.cpp"\n', encoding="utf-8")
        self.assertEqual([self.folder / "x/A.simd.cpp"], tidy.sources_in(batch))

    def test_what_does_not_compile_is_a_fault(self):
        self.assertNotEqual("", self.faults("int Nothing() { return Missing; }\n"))


if __name__ == "__main__":
    unittest.main()
