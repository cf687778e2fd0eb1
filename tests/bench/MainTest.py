"""docs/performance.md has the place that is filled, and stored figures have this version's form."""

import unittest

from bench.report import __main__ as program


class PageTest(unittest.TestCase):
    def test_what_stands_between_the_marks_is_replaced(self):
        page = f"above\n{program.BEGIN}\nold\n{program.END}\nbelow\n"
        self.assertEqual(program.filled(page, "new"),
                         f"above\n{program.BEGIN}\nnew\n{program.END}\nbelow\n")

    def test_the_page_can_be_filled_and_filled_again(self):
        page = program.PAGE.read_text(encoding="utf-8")
        once = program.filled(page, "new")
        self.assertIn("\nnew\n", once)
        self.assertEqual(program.filled(once, "new"), once)

    def test_the_place_of_the_pushes_is_another_one(self):
        page = program.PAGE.read_text(encoding="utf-8")
        once = program.filled(page, "new", program.BEGIN_PUSHES, program.END_PUSHES)
        self.assertEqual(program.filled(once, "figures"),
                         program.filled(program.filled(page, "figures"), "new",
                                        program.BEGIN_PUSHES, program.END_PUSHES))

    def test_the_stored_run_can_be_read(self):
        stored = program.load(program.BASELINE)
        self.assertIn("ratio/group/all keys", stored["figures"])


if __name__ == "__main__":
    unittest.main()
