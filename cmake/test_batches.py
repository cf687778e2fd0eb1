#!/usr/bin/env python3
"""Joins the sources of test programs into batches, each of which is compiled as one file.

    test_batches.py ROOT FOLDER SIZE < LISTS

Most of the time of compiling a test goes into headers, which a batch reads once. A line of LISTS is the
name of a target and paths of its sources, separated by semicolons. FOLDER gets the files that include up
to SIZE sources each, and TARGET.txt, which lists what is to be compiled instead. Files that say what they
said before are not written again.

Tests name their helpers as they like, so two sources may be in one batch only if no helper of the one is
named in the other. Constants are the exception: many tests have a kRate. A batch gives such a constant
another name by a macro while the source is read that declares it, unless a header has the name too.
"""

import re
import sys
from pathlib import Path

# The contents of namespaces are not indented: what starts a line is not inside of a function or class.
NO_DECLARATION = re.compile(
    r"[\s}#)]|$|namespace\b|using namespace\b|template\b|extern \"|(?:public|protected|private):|"
    r"(?:TEST|TEST_F|TEST_P|TYPED_TEST\w*|INSTANTIATE_\w+|REGISTER_\w+|static_assert)\b")
COMMENT_OR_TEXT = re.compile(r"//[^\n]*|/\*.*?\*/|\"(?:\\.|[^\"\\\n])*\"", re.DOTALL)
USING = re.compile(r"using ([\w:]+);|using (\w+) = ")
TYPE = re.compile(r"(?:class|struct|union|enum class|enum) (\w+)")
CONSTANT = re.compile(r"\bk[A-Z]\w*")
INCLUDE = re.compile(r'^#include ["<]([^">]+)[">]', re.MULTILINE)
WORD = re.compile(r"[A-Za-z_]\w*")


class Headers:
    """The words of the project's own headers that a file includes, directly or through others."""

    FOLDERS = (".", "include", "platform/include", "bindings/cpp")

    def __init__(self, root):
        self.folders = [root / folder for folder in self.FOLDERS]
        self.known = {}

    def read_by(self, path):
        """The headers that a file includes, and the words of the file itself."""
        if path not in self.known:
            text = path.read_text(encoding="utf-8")
            included = set()
            for name in INCLUDE.findall(text):
                for folder in [path.parent, *self.folders]:
                    if (folder / name).is_file():
                        included.add((folder / name).resolve())
                        break
            self.known[path] = (included, set(WORD.findall(COMMENT_OR_TEXT.sub(" ", text))))
        return self.known[path]

    def words_for(self, path):
        seen, words = set(), set()
        waiting = list(self.read_by(path)[0])
        while waiting:
            header = waiting.pop()
            if header not in seen:
                seen.add(header)
                included, its_words = self.read_by(header)
                waiting += included
                words |= its_words
        return words


class Source:
    """A source: all words of it, and the names that it declares outside of functions and classes."""

    def __init__(self, path, header_words):
        text = COMMENT_OR_TEXT.sub('""', path.read_text(encoding="utf-8"))
        self.path = path
        self.words = set(WORD.findall(text))
        self.constants = set()
        self.helpers = set(re.findall(r"^#define (\w+)", text, re.MULTILINE))
        self.aliases = {}
        for line in text.splitlines():
            if not NO_DECLARATION.match(line):
                self.add_declaration(line)
        # The macro would change the headers as well.
        self.helpers |= self.constants & header_words
        self.constants -= header_words

    def add_declaration(self, line):
        alias = USING.match(line)
        if alias:
            self.aliases[alias.group(2) or alias.group(1).rsplit("::", 1)[-1]] = line
            return
        head = re.split(r"[={;]", line, maxsplit=1)[0]
        self.constants.update(CONSTANT.findall(head))
        kind = TYPE.match(head)
        words = WORD.findall(head.split("(", 1)[0])
        if kind:
            self.helpers.add(kind.group(1))
        elif words and words[-1] not in self.constants:
            self.helpers.add(words[-1])

    def disturbs(self, other):
        """Whether a name of this source could be taken for one of another."""
        return bool(self.helpers & other.words) or any(
            name in other.words and other.aliases.get(name) != meaning
            for name, meaning in self.aliases.items())


def batches_of(sources, size):
    """Puts each source into the first batch that has room and in which it disturbs none."""
    batches = []
    for source in sources:
        for batch in batches:
            if len(batch) < size and not any(
                    source.disturbs(other) or other.disturbs(source) for other in batch):
                batch.append(source)
                break
        else:
            batches.append([source])
    return batches


def text_of(batch, root):
    lines = []
    for source in batch:
        others = set().union(*(other.words for other in batch if other is not source))
        renamed = sorted(source.constants & others)
        suffix = re.sub(r"\W", "_", source.path.stem)
        lines += [f"#define {name} {name}_{suffix}" for name in renamed]
        lines.append(f'#include "{source.path.relative_to(root)}"')
        lines += [f"#undef {name}" for name in renamed]
    return "\n".join(lines) + "\n"


def write_if_changed(path, text):
    if not path.exists() or path.read_text(encoding="utf-8") != text:
        path.write_text(text, encoding="utf-8")


def join(root, folder, size, lists):
    folder.mkdir(parents=True, exist_ok=True)
    headers = Headers(root)
    for line in lists:
        target, *paths = line.strip().split(";")
        sources = [Source(path, headers.words_for(path)) for path in map(Path, paths)]
        compiled = []
        for number, batch in enumerate(batches_of(sources, size)):
            if len(batch) == 1:
                compiled.append(str(batch[0].path))
                continue
            path = folder / f"{target}{number}.cpp"
            write_if_changed(path, text_of(batch, root))
            compiled.append(str(path))
        write_if_changed(folder / f"{target}.txt", "\n".join(compiled) + "\n")


if __name__ == "__main__":
    join(Path(sys.argv[1]), Path(sys.argv[2]), int(sys.argv[3]), sys.stdin)
