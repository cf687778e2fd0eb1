"""script/dialect on text with faults, each made here."""

import unittest

from tests.script.Loading import load

dialect = load("dialect")


def braced(text):
    return dialect.with_braces("A.cpp", text)


def numbered(text):
    return dialect.with_numbers("A.cpp", text)


def commented(text, path="A.cpp"):
    return dialect.with_comments(path, text)


class Braces(unittest.TestCase):
    def test_every_kind_of_body_gets_them(self):
        self.assertEqual("if (a) { b();\n}", braced("if (a) b();"))
        self.assertEqual("if constexpr (a) { b();\n} else { c();\n}",
                         braced("if constexpr (a) b(); else c();"))
        self.assertEqual("for (;;) { b();\n}", braced("for (;;) b();"))
        self.assertEqual("while (a) { b();\n}", braced("while (a) b();"))
        self.assertEqual("do { b();\n} while (a);", braced("do b(); while (a);"))

    def test_bodies_within_bodies_close_together(self):
        self.assertEqual("for (;;) { if (a) { b();\n} else { c();\n}\n}",
                         braced("for (;;) if (a) b(); else c();"))

    def test_an_else_stays_with_its_if(self):
        self.assertEqual("if (a) { b();\n} else if (c) { d();\n} else { e();\n}",
                         braced("if (a) b(); else if (c) d(); else e();"))

    def test_a_body_ends_after_its_own_brackets_and_remark(self):
        self.assertEqual("if (a) { f([] { g(); }, {1});\n} h();",
                         braced("if (a) f([] { g(); }, {1}); h();"))
        self.assertEqual("if (a) { // why\n b(); // so\n}\n", braced("if (a) // why\n b(); // so\n"))

    def test_what_has_them_stays(self):
        for text in ("if (a) {\n    b();\n}\n", "do {\n} while (a);\n", "// if (a) b();\n",
                     '"if (a) b();"', "#define A if (a) b();\n", "} else if (a) {\n}\n"):
            self.assertEqual(text, braced(text))

    def test_a_directive_as_a_body_is_not_understood(self):
        with self.assertRaises(dialect.Fault):
            braced("if (a)\n#ifdef B\nb();\n#endif\n")


class Numbers(unittest.TestCase):
    def test_suffixes_and_points_are_written_in_one_way(self):
        for old, new in (("1.F", "1.0f"), (".5", "0.5"), ("2.", "2.0"), ("1e-9F", "1e-9f"),
                         ("3U", "3u"), ("4ull", "4uLL"), ("5l", "5L"), ("0xFFU", "0xFFu"),
                         ("1'000.5F", "1'000.5f")):
            self.assertEqual(f"a = {new};", numbered(f"a = {old};"))
            self.assertEqual(f"#define A {new}\n", numbered(f"#define A {old}\n"))

    def test_digits_names_texts_and_literals_with_units_stay(self):
        for text in ("0xABCDEF", "a1F", '"1.F"', "'F'", "// 1.F", "10ms", "0x1p-3f", "1.0f",
                     '#include "A1.F"\n'):
            self.assertEqual(text, numbered(text))


class Comments(unittest.TestCase):
    def test_blocks_become_lines(self):
        self.assertEqual("// One.\nint a;\n", commented("/* One. */\nint a;\n"))
        self.assertEqual("  // One\n  //   two.\n", commented("  /*\n   * One\n   *   two.\n   */\n"))
        self.assertEqual("int a; // one\n       // two\n", commented("int a; /* one\n          two */\n"))

    def test_three_strokes_become_two(self):
        self.assertEqual("// One.\n", commented("/// One.\n"))

    def test_plain_c_has_blocks(self):
        self.assertEqual("/* One. */\n", commented("// One.\n", "include/A.h"))
        self.assertEqual("/* One. */\n", commented("/* One. */\n", "examples/a.c"))

    def test_those_within_a_line_and_in_macros_stay(self):
        for text in ("f(/*count=*/1);\n", "#define A /* one */ \\\n    1\n"):
            self.assertEqual(text, commented(text))


class Literals(unittest.TestCase):
    LONG = '"' + "a line of words that is nearly full, and then some more " * 2 + '"\n'

    def test_a_word_left_over_on_a_line_is_a_fault(self):
        self.assertEqual([2], dialect.torn_literals(self.LONG + '"coding "\n' + self.LONG))

    def test_the_last_line_and_a_line_that_ends_the_text_line_may_be_short(self):
        self.assertEqual([], dialect.torn_literals(self.LONG + '"coding"\n;\n'))
        self.assertEqual([], dialect.torn_literals(self.LONG + '"coding\\n"\n' + self.LONG))


class Files(unittest.TestCase):
    def test_a_fault_has_the_file_the_line_and_the_remedy(self):
        self.assertEqual(["A.cpp:2: a number: run script/dialect"],
                         dialect.faults_of("A.cpp", "int a;\nfloat b = 1.F;\n"))

    def test_what_was_rewritten_has_no_faults(self):
        text = "/* One. */\nif (a) b(1.F);\n"
        self.assertEqual([], dialect.faults_of("A.cpp", dialect.rewritten("A.cpp", text)))


if __name__ == "__main__":
    unittest.main()
