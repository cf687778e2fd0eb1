"""script/draw-includes: its arrows, and what its check finds in a page."""

import contextlib
import io
import os
import subprocess
import tempfile
import unittest
from pathlib import Path

from tests.script.Loading import load

draw = load("draw-includes")

GRAPH = {"low": [], "left": ["low"], "right": ["low"], "high": ["low", "left", "right"]}


class Drawing(unittest.TestCase):
    def test_an_arrow_that_a_longer_path_implies_is_left_out(self):
        self.assertEqual({"low": [], "left": ["low"], "right": ["low"], "high": ["left", "right"]},
                         draw.without_detours(GRAPH))

    def test_the_table_has_all_arrows(self):
        self.assertIn("| `high/` | `right/`, `left/`, `low/` |", draw.table(GRAPH))

    def test_an_arrow_up_is_found(self):
        self.assertEqual([], draw.upward(GRAPH))
        self.assertEqual([("low", "high")], draw.upward(GRAPH | {"low": ["high"]}))

    def test_what_is_around_the_drawing_stays(self):
        page = f"before\n{draw.BEGIN}\nold\n{draw.END}\nafter\n"
        self.assertEqual("before\nnew\nafter\n", draw.replaced(page, "new"))

    def test_a_page_without_both_markers_has_no_place_for_it(self):
        for page in ("", draw.BEGIN, draw.END):
            self.assertIsNone(draw.replaced(page, "new"), page)


class Script(unittest.TestCase):
    """The whole script in a repository of its own."""

    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(directory.name)
        subprocess.run(["git", "init", "-q", "."], check=True)
        self.write("spectral/A.h", '#include "support/audio/B.h"\n')
        self.write("docs/dev/architecture.md", f"{draw.BEGIN}\n{draw.END}\n")

    def write(self, path, text):
        Path(path).parent.mkdir(parents=True, exist_ok=True)
        Path(path).write_text(text, encoding="utf-8")
        subprocess.run(["git", "add", "."], check=True)

    def run_with(self, *arguments):
        with contextlib.redirect_stdout(io.StringIO()) as said:
            return draw.main(list(arguments)), said.getvalue()

    def test_the_check_passes_on_what_was_drawn(self):
        self.assertEqual((0, ""), self.run_with())
        self.assertIn("spectral --> support_audio", draw.PAGE.read_text(encoding="utf-8"))
        self.assertEqual((0, ""), self.run_with("--check"))

    def test_the_check_fails_once_there_is_another_arrow(self):
        self.run_with()
        self.write("spectral/mel/C.h", '#include "spectral/A.h"\n')
        code, said = self.run_with("--check")
        self.assertEqual(1, code)
        self.assertIn("+    spectral_mel --> spectral\n", said)

    def test_the_check_fails_on_an_arrow_up(self):
        self.run_with()
        self.write("support/audio/B.h", '#include "spectral/mel/C.h"\n')
        code, said = self.run_with("--check")
        self.assertEqual(1, code)
        self.assertIn("support/audio includes headers of spectral/mel", said)

    def test_a_page_without_markers_is_named(self):
        self.write("docs/dev/architecture.md", "text\n")
        code, said = self.run_with()
        self.assertEqual(1, code)
        self.assertIn("docs/dev/architecture.md: put these two lines", said)


if __name__ == "__main__":
    unittest.main()
