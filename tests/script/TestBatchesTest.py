"""Which sources of tests are compiled as one file, and what such a file says."""

import importlib.util
import tempfile
import unittest
from pathlib import Path

SCRIPT = Path(__file__).resolve().parents[2] / "cmake" / "test_batches.py"
spec = importlib.util.spec_from_file_location("test_batches", SCRIPT)
test_batches = importlib.util.module_from_spec(spec)
spec.loader.exec_module(test_batches)


class TestBatchesTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name)
        self.batches = self.root / "batches"

    def compiled(self, sources, size=10):
        """Writes sources, {name: text}, and tells what is compiled: file names, and texts of batches."""
        for name, text in sources.items():
            (self.root / name).write_text(text, encoding="utf-8")
        paths = [str(self.root / name) for name in sources if name.endswith(".cpp")]
        test_batches.join(self.root, self.batches, size, [";".join(["program", *paths]) + "\n"])
        lines = (self.batches / "program.txt").read_text(encoding="utf-8").splitlines()
        return [line if not line.startswith(str(self.batches)) else Path(line).read_text(encoding="utf-8")
                for line in lines]

    def alone(self, *names):
        return [str(self.root / name) for name in names]

    def test_sources_without_common_names_are_one_batch(self):
        self.assertEqual(self.compiled({"A.cpp": "int First() {}\n", "B.cpp": "int Second() {}\n"}),
                         ['#include "A.cpp"\n#include "B.cpp"\n'])

    def test_a_batch_has_no_more_sources_than_told(self):
        names = {f"{name}.cpp": f"int {name}() {{}}\n" for name in "ABCDE"}
        self.assertEqual([batch.count("#include") for batch in self.compiled(names, 2)[:2]], [2, 2])
        self.assertEqual(self.compiled(names, 2)[2:], self.alone("E.cpp"))

    def test_helpers_of_one_name_are_kept_apart(self):
        helper = "std::vector<float> Noise(std::size_t count) {\n"
        self.assertEqual(self.compiled({"A.cpp": helper, "B.cpp": helper}), self.alone("A.cpp", "B.cpp"))

    def test_a_helper_is_kept_apart_from_a_source_that_uses_the_name(self):
        for helper in ("double Noise(int) {\n", "class Noise {\n", "#define Noise 1\n",
                       "using Noise = int;\n", "template <typename T>\nT Noise(T value) {\n"):
            with self.subTest(helper):
                self.assertEqual(self.compiled({"A.cpp": helper, "B.cpp": "void F() {\n    Noise(3);\n"}),
                                 self.alone("A.cpp", "B.cpp"))

    def test_what_only_comments_and_texts_name_counts_for_nothing(self):
        other = '// Noise\nvoid F() {\n    Say("of \\"Noise\\""); /* Noise\n */\n'
        self.assertEqual(len(self.compiled({"A.cpp": "double Noise() {\n", "B.cpp": other})), 1)

    def test_aliases_may_be_repeated_if_they_mean_the_same(self):
        self.assertEqual(
            len(self.compiled({"A.cpp": "using Json = one;\n", "B.cpp": "using Json = one;\n"})), 1)
        self.assertEqual(
            len(self.compiled({"A.cpp": "using Json = one;\n", "B.cpp": "using Json = two;\n"})), 2)

    def test_constants_of_one_name_are_renamed_while_their_source_is_read(self):
        sources = {"A.cpp": "constexpr double kRate = 44100.0;\n",
                   "B.cpp": "constexpr double kRate = 8000.0;\nconstexpr int kOwn = 1;\n"}
        self.assertEqual(self.compiled(sources),
                         ['#define kRate kRate_A\n#include "A.cpp"\n#undef kRate\n'
                          '#define kRate kRate_B\n#include "B.cpp"\n#undef kRate\n'])

    def test_a_constant_that_a_local_variable_would_hide_is_renamed(self):
        self.assertEqual(self.compiled({"A.cpp": "constexpr int kSize = 1;\n",
                                        "B.cpp": "void F() {\n    const int kSize = 2;\n"}),
                         ['#define kSize kSize_A\n#include "A.cpp"\n#undef kSize\n#include "B.cpp"\n'])

    def test_a_constant_whose_name_is_in_a_header_keeps_it(self):
        sources = {"Inner.h": "constexpr int kSize = 3;\n", "Outer.h": '#include "Inner.h"\n',
                   "A.cpp": '#include "Outer.h"\nconstexpr int kSize = 1;\n',
                   "B.cpp": "constexpr int kSize = 2;\n"}
        self.assertEqual(self.compiled(sources), self.alone("A.cpp", "B.cpp"))

    def test_what_stays_the_same_is_not_written_again(self):
        sources = {"A.cpp": "int First() {}\n", "B.cpp": "int Second() {}\n"}
        self.compiled(sources)
        written = (self.batches / "program0.cpp").stat().st_mtime_ns
        self.compiled(sources)
        self.assertEqual((self.batches / "program0.cpp").stat().st_mtime_ns, written)


if __name__ == "__main__":
    unittest.main()
