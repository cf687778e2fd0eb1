"""script/check-alone on trees with and without a forgotten include, each made here."""

import contextlib
import io
import json
import shutil
import tempfile
import unittest
from pathlib import Path
from unittest import mock

from tests.script.Loading import load

check_alone = load("check-alone")


class Sets(unittest.TestCase):
    """Headers are files of some length, and read others."""

    def chosen(self, sizes, files_of, included):
        files_of = {header: frozenset(files) for header, files in files_of.items()}
        with mock.patch.object(check_alone.os.path, "getsize", lambda path: sizes[path.name]):
            return check_alone.sets_worth_precompiling(files_of, included)

    def test_what_several_sources_include_is_precompiled(self):
        chosen = self.chosen({"x": 100}, {"x": ["x"]}, {"a": {"x"}, "b": {"x"}, "c": set()})
        self.assertEqual({"a": {"x"}, "b": {"x"}, "c": set()}, chosen)

    def test_what_one_source_includes_is_not(self):
        chosen = self.chosen({"x": 100, "y": 10}, {"x": ["x"], "y": ["y"]}, {"a": {"x"}, "b": {"y"}})
        self.assertEqual({"a": set(), "b": set()}, chosen)

    def test_no_source_begins_with_a_file_that_it_does_not_include(self):
        files_of = {"x": ["x", "base"], "y": ["y", "base"], "z": ["z"], "base": ["base"]}
        included = {"a": {"x", "z"}, "b": {"x", "z"}, "c": {"x"}, "d": {"y", "z"}, "e": {"y"}, "f": {"z"}}
        chosen = self.chosen({"x": 100, "y": 50, "z": 70, "base": 500}, files_of, included)
        for source, headers in chosen.items():
            mine = {file for header in included[source] for file in files_of[header]}
            self.assertLessEqual({file for header in headers for file in files_of[header]}, mine)
        self.assertIn("base", chosen["e"], "which it includes through another one")

    def test_a_header_that_is_nowhere_is_left_out(self):
        self.assertEqual({"a": set(), "b": set()}, self.chosen({}, {"x": []}, {"a": {"x"}, "b": {"x"}}))


@unittest.skipUnless(shutil.which("clang++-14") or shutil.which("clang++"), "no Clang")
class Sources(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.root = Path(directory.name).resolve()
        for module in (check_alone, check_alone.tidy):
            root = mock.patch.object(module, "ROOT", self.root)
            root.start()
            self.addCleanup(root.stop)

    def said(self, **texts):
        """The status, and what is said about a batch of these sources."""
        build = self.root / "build/release"
        (build / "batches").mkdir(parents=True)
        (self.root / "library").mkdir()
        for name, text in texts.items():
            (self.root / "library" / f"{name}.cpp").write_text(text, encoding="utf-8")
        batch = build / "batches/Library0.cpp"
        batch.write_text("".join(f'#include "library/{name}.cpp"\n' for name in texts), encoding="utf-8")
        command = f"c++ -I{self.root} -std=c++20 -O3 -o x.o -c {batch}"
        (build / "compile_commands.json").write_text(
            json.dumps([{"file": str(batch), "command": command}]), encoding="utf-8")
        output = io.StringIO()
        with contextlib.redirect_stdout(output):
            status = check_alone.main(["release"])
        return status, output.getvalue()

    def test_sources_that_include_what_they_need_are_fine(self):
        text = "#include <string>\nstd::string {}();\n"
        status, said = self.said(a=text.format("A"), b=text.format("B"), c=text.format("C"))
        self.assertEqual((0, "check-alone: 2 sources, 0 of which do not compile by themselves\n"), (status, said))

    def test_what_a_source_has_from_the_one_before_is_missing(self):
        status, said = self.said(a="#include <vector>\n", b="std::vector<int> B();\n")
        self.assertEqual(1, status)
        self.assertIn("b.cpp:1:", said)

    def test_what_precompiled_headers_of_others_have_is_missing(self):
        both = "#include <regex>\n#include <string>\nstd::regex "
        status, said = self.said(a=both + "A();\n", b=both + "B();\n", c=both + "C();\n", d=both + "D();\n",
                                 e="#include <string>\nstd::regex E();\n")
        self.assertEqual(1, status)
        self.assertIn("e.cpp:2:", said)
        self.assertIn("4 sources, 1 of which", said)

    def test_sources_are_read_where_no_header_can_be_precompiled(self):
        with mock.patch.object(check_alone.Compiler, "precompile", lambda *_: None):
            status, said = self.said(a="#include <vector>\n", b="#include <vector>\n",
                                     c="#include <vector>\nstd::string C();\n")
        self.assertEqual(1, status)
        self.assertIn("c.cpp:2:", said)


if __name__ == "__main__":
    unittest.main()
