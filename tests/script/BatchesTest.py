"""Which sources are compiled as one file, and what such a file says."""

import importlib.util
import tempfile
import unittest
from pathlib import Path

SCRIPT = Path(__file__).resolve().parents[2] / "cmake" / "batches.py"
spec = importlib.util.spec_from_file_location("batches", SCRIPT)
batches_script = importlib.util.module_from_spec(spec)
spec.loader.exec_module(batches_script)


class BatchesTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name)
        self.batches = self.root / "batches"

    def compiled(self, sources, size=10, by_folder=False):
        """Writes sources, {name: text}, and tells what is compiled: file names, and texts of batches."""
        for name, text in sources.items():
            (self.root / name).parent.mkdir(exist_ok=True)
            (self.root / name).write_text(text, encoding="utf-8")
        paths = [str(self.root / name) for name in sources if name.endswith(".cpp")]
        batches_script.join(self.root, self.batches, size, [";".join(["program", *paths]) + "\n"],
                            by_folder)
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
                   "B.cpp": '#include "Outer.h"\nconstexpr int kSize = 2;\n'}
        self.assertEqual(self.compiled(sources), self.alone("A.cpp", "B.cpp"))

    def test_a_constant_is_renamed_beside_a_source_whose_header_has_the_name(self):
        headers = {"Inner.h": "constexpr int kSize = 3;\n", "Outer.h": '#include "Inner.h"\n'}
        including = {"A.cpp": '#include "Outer.h"\nconstexpr int kSize = 1;\n'}
        renamed = '#define kSize kSize_B\n#include "B.cpp"\n#undef kSize\n'
        other = {"B.cpp": "constexpr int kSize = 2;\n"}
        self.assertEqual(self.compiled(headers | including | other), ['#include "A.cpp"\n' + renamed])
        self.assertEqual(self.compiled(headers | other | including), [renamed + '#include "A.cpp"\n'])

    def test_a_header_keeps_its_name_where_a_source_before_it_is_renamed(self):
        hidden = "namespace {\nint Noise(int) {\n}\n} // namespace\n"
        sources = {"Noise.h": "int Noise(int);\n", "A.cpp": hidden,
                   "B.cpp": '#include "Noise.h"\nint B() {\n    return Noise(1);\n}\n'}
        self.assertEqual(self.compiled(sources),
                         ['#include "Noise.h"\n#define Noise Noise_A\n#include "A.cpp"\n#undef Noise\n'
                          '#include "B.cpp"\n'])

    def test_hidden_helpers_of_one_name_are_renamed_after_all_headers(self):
        text = "#include <vector>\n#include \"{0}.inc\"\nnamespace {{\nint Noise(int) {{\n}}\n}} // namespace\n"
        sources = {name: text.format(name) for name in ("A.cpp", "B.cpp")}
        self.assertEqual(self.compiled(sources),
                         ["#include <vector>\n#define Noise Noise_A\n#include \"A.cpp\"\n#undef Noise\n"
                          "#define Noise Noise_B\n#include \"B.cpp\"\n#undef Noise\n"])

    def test_helpers_are_not_renamed_by_folder(self):
        hidden = "namespace {\nint Noise(int) {\n}\n} // namespace\n"
        sources = {"x/A.cpp": hidden, "x/B.cpp": hidden}
        self.assertEqual(self.compiled(sources, by_folder=True), self.alone("x/A.cpp", "x/B.cpp"))

    def test_a_helper_with_the_name_of_a_member_or_of_a_test_is_not_renamed(self):
        hidden = "namespace {\nint Run(int) {\n}\n} // namespace\n"
        for use in ("void F() {\n    client.Run();\n}\n", "TEST(Suite, Run) {\n}\n",
                    "int F() {\n    return a::Run();\n}\n"):
            with self.subTest(use):
                self.assertEqual(len(self.compiled({"A.cpp": hidden + use, "B.cpp": hidden + use})), 2)

    def test_a_helper_does_not_disturb_members_of_its_name(self):
        sources = {"A.cpp": "int Run(int) {\n}\n", "B.cpp": "void F() {\n    client.Run();\n}\n"}
        self.assertEqual(len(self.compiled(sources)), 1)

    def test_an_alias_that_depends_on_a_constant_is_kept_apart(self):
        alias = "using Wide = Tag<kLanes>;\n"
        self.assertEqual(self.compiled({"A.cpp": alias, "B.cpp": alias}), self.alone("A.cpp", "B.cpp"))

    def test_a_constant_of_a_computed_value_is_renamed(self):
        sources = {name: f"constexpr int kLanes = ns::Max({name}());\n" for name in ("A.cpp", "B.cpp")}
        self.assertIn("#define kLanes kLanes_B\n", self.compiled(sources)[0])

    def test_member_functions_of_one_name_disturb_nobody(self):
        sources = {"A.cpp": "void First::Run() {\n", "B.cpp": "void Second::Run() {\n"}
        self.assertEqual(len(self.compiled(sources)), 1)

    def test_functions_that_a_header_declares_disturb_nobody(self):
        sources = {"A.h": "int Shared();\n", "A.cpp": '#include "A.h"\nint Shared() {\n',
                   "B.cpp": '#include "A.h"\nint B() {\n    return Shared();\n'}
        self.assertEqual(len(self.compiled(sources)), 1)

    def test_a_hidden_function_of_such_a_name_disturbs(self):
        for hidden in ("namespace {\nint Shared(int) {\n}\n} // namespace\n", "static int Shared(int) {\n}\n"):
            sources = {"A.h": "int Shared();\n", "A.cpp": f'#include "A.h"\n{hidden}',
                       "B.cpp": '#include "A.h"\nint B() {\n    return Shared();\n'}
            self.assertEqual(len(self.compiled(sources)), 2)

    def test_words_of_a_long_text_disturb_nobody(self):
        sources = {"A.cpp": 'const char* a = R"(\nint B() {\n// )";\n', "B.cpp": "int B() {\n"}
        self.assertEqual(len(self.compiled(sources)), 1)

    def test_a_source_with_macros_for_its_headers_stands_alone(self):
        for line in ("#define PLAIN 1\n", "#undef PLAIN\n"):
            sources = {"A.cpp": f"{line}#include <a>\n", "B.cpp": "int B() {}\n", "C.cpp": "int C() {}\n"}
            self.assertEqual(self.compiled(sources),
                             [*self.alone("A.cpp"), '#include "B.cpp"\n#include "C.cpp"\n'])

    def test_a_source_that_replaces_memory_functions_stands_alone(self):
        for line in ("void* operator new(std::size_t size) {\n",
                     "[[gnu::noinline]] void operator delete[](void* memory) noexcept {\n"):
            with self.subTest(line):
                sources = {"A.cpp": line, "B.cpp": "int B() {}\n", "C.cpp": "int C() {}\n"}
                self.assertEqual(self.compiled(sources),
                                 [*self.alone("A.cpp"), '#include "B.cpp"\n#include "C.cpp"\n'])

    def test_batches_by_folder_stay_below_the_topmost_folders_and_have_about_one_size(self):
        names = ["x/A.cpp", "y/B.cpp", "x/C.cpp", "y/D.cpp", "y/E.cpp", "y/F.cpp"]
        texts = self.compiled({name: f"int {name[2]}() {{}}\n" for name in names}, 3, by_folder=True)
        self.assertEqual(texts, ['#include "x/A.cpp"\n#include "x/C.cpp"\n', '#include "y/B.cpp"\n#include "y/D.cpp"\n',
                                 '#include "y/E.cpp"\n#include "y/F.cpp"\n'])

    def test_batches_by_folder_join_those_that_read_a_large_header(self):
        sources = {"x/Wide.h": "#include <CLI/CLI.hpp>\n", "x/A.cpp": "int A() {}\n",
                   "x/B.cpp": '#include "x/Wide.h"\nint B() {}\n', "x/C.cpp": "int C() {}\n",
                   "x/D.cpp": "#include <CLI/CLI.hpp>\nint D() {}\n"}
        self.assertEqual(self.compiled(sources, 2, by_folder=True),
                         ['#include "x/B.cpp"\n#include "x/D.cpp"\n', '#include "x/A.cpp"\n#include "x/C.cpp"\n'])

    def test_vector_loops_are_joined_with_each_other_for_every_instruction_set(self):
        loop = ('#undef HWY_TARGET_INCLUDE\n#define HWY_TARGET_INCLUDE "{0}.simd.cpp"\n#include <hwy/foreach_target.h>\n'
                "HWY_EXPORT({0});\nvoid {0}() {{\n")
        sources = {"A.simd.cpp": loop.format("A"), "B.cpp": "int B() {}\n", "C.simd.cpp": loop.format("C")}
        itself = '#undef HWY_TARGET_INCLUDE\n#define HWY_TARGET_INCLUDE "program0.simd.cpp"\n'
        self.assertEqual(self.compiled(sources),
                         [f'{itself}#include <hwy/foreach_target.h>\n#include "A.simd.cpp"\n#include "C.simd.cpp"\n{itself}',
                          *self.alone("B.cpp")])

    def test_what_stays_the_same_is_not_written_again(self):
        sources = {"A.cpp": "int First() {}\n", "B.cpp": "int Second() {}\n"}
        self.compiled(sources)
        written = (self.batches / "program0.cpp").stat().st_mtime_ns
        self.compiled(sources)
        self.assertEqual((self.batches / "program0.cpp").stat().st_mtime_ns, written)


if __name__ == "__main__":
    unittest.main()
