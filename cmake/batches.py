#!/usr/bin/env python3
"""Joins sources into batches, each of which is compiled as one file.

    batches.py [--by-folder] ROOT FOLDER SIZE < LISTS

Most of the time of compiling a source goes into headers, which a batch reads once. A line of LISTS is a name,
and paths of sources of one target and with the same flags, separated by semicolons. FOLDER gets the files
that include up to SIZE sources each, and NAME.txt, which lists what is to be compiled instead. With
--by-folder the sources of a batch are below one of the topmost folders, so that a new source changes only
the batches of its own folder. Files that say what they said before are not written
again.

Sources name their helpers as they like. A batch gives a constant another name by a macro while the source is
read that declares it, if another source has the word too. Without --by-folder it does so with the functions,
classes and aliases that a source hides as well, and reads all headers before, so that the macros change the
sources alone. What cannot be renamed keeps its source out of batches in which the word is used: names of
tests, and what a header of the source has as well, or a class or a namespace that it uses.

Vector loops (*.simd.cpp) have batches of their own, which read Highway once for every instruction set. A
source that defines macros for the headers that it includes stands alone, and so does one that replaces the
memory functions, as a compiler that sees what malloc does takes other calls of it for something else.
"""

import re
import sys
from pathlib import Path

# The contents of namespaces are not indented: what starts a line is not inside of a function or class.
NO_DECLARATION = re.compile(
    r"[\s}#)]|$|namespace\b|using namespace\b|template\b|extern \"|(?:public|protected|private):|"
    r"(?:[A-Z][A-Z_]+\(|static_assert\b)")
COMMENT_OR_TEXT = re.compile(
    r"//[^\n]*|/\*.*?\*/|\bR\"(?P<mark>\w*)\(.*?\)(?P=mark)\"|\"(?:\\.|[^\"\\\n])*\"", re.DOTALL)
USING = re.compile(r"using ([\w:]+);|using (\w+) = ")
TYPE = re.compile(r"(?:class|struct|union|enum class|enum) (\w+)")
MEMBER = re.compile(r"[^(=\n]*\w::~?\w+\(")
CONSTANT = re.compile(r"\bk[A-Z]\w*")
QUALIFIED = re.compile(r"(?<!\.)(?:\.|->|::)\s*(?:template\s+)?(\w+)")
NAMES_OF_TESTS = re.compile(
    r"^(?:TEST|TEST_F|TEST_P|TYPED_TEST\w*|INSTANTIATE_\w+|REGISTER_\w+)\(\s*(\w+)\s*,\s*(\w+)",
    re.MULTILINE)
# What the macros of GoogleTest name, and what it looks up by name.
FIXED = {"Compare", "Fail", "Message", "PrintTo", "Success", "Test", "main", "new", "delete", "operator"}
INCLUDE = re.compile(r'^#include ["<]([^">]+)[">]', re.MULTILINE)
WORD = re.compile(r"[A-Za-z_]\w*")
# Of libraries that take seconds: sources with the same ones are compiled together.
LARGE_HEADERS = ("CLI/CLI.hpp", "nlohmann/json.hpp")
REPLACED_NEW = re.compile(r"^\S.*\boperator (?:new|delete)\b", re.MULTILINE)
MACRO_FOR_HEADERS = re.compile(r"^#(?:define|undef) (?!HWY_TARGET_INCLUDE).*^#include", re.MULTILINE | re.DOTALL)


class Headers:
    """What files include, and the words of the project's own headers among it."""

    FOLDERS = (".", "include", "platform/include", "bindings/cpp")

    def __init__(self, root):
        self.folders = [root / folder for folder in self.FOLDERS]
        self.known = {}

    def read_by(self, path):
        """The headers that a file includes, and the words and the headers of libraries of the file itself."""
        if path not in self.known:
            text = path.read_text(encoding="utf-8")
            included, foreign = set(), set()
            for name in INCLUDE.findall(text):
                found = [folder / name for folder in [path.parent, *self.folders] if (folder / name).is_file()]
                if found:
                    included.add(found[0].resolve())
                else:
                    foreign.add(name)
            self.known[path] = (included, set(WORD.findall(COMMENT_OR_TEXT.sub(" ", text))), foreign)
        return self.known[path]

    def all_for(self, path):
        """The project's headers that a file includes, directly or through others."""
        seen, waiting = set(), list(self.read_by(path)[0])
        while waiting:
            header = waiting.pop()
            if header not in seen:
                seen.add(header)
                waiting += self.read_by(header)[0]
        return seen

    def words_for(self, path):
        return set().union(*(self.read_by(header)[1] for header in self.all_for(path)))

    def foreign_for(self, path):
        """The headers of libraries that a file includes, directly or through the project's."""
        return set().union(*(self.read_by(file)[2] for file in {path, *self.all_for(path)}))

    def large_for(self, path):
        foreign = self.foreign_for(path)
        return [name not in foreign for name in LARGE_HEADERS]


def without_arguments(line):
    """A line without those of templates."""
    while (shorter := re.sub(r"<[^<>]*>", "", line)) != line:
        line = shorter
    return line


def headers_of(text):
    """The lines by which a source includes headers whatever the machine."""
    depth, found = 0, []
    for line in text.splitlines():
        depth += bool(re.match(r"#\s*if", line)) - bool(re.match(r"#\s*endif", line))
        if depth == 0 and re.match(r"#include [\"<](?:[\w/]+|.*\.h(?:pp)?)[\">]", line):
            found.append(line)
    return found


class Source:
    """A source: all words of it, and the names that it declares outside of functions and classes."""

    def __init__(self, path, header_words, renames_helpers=False):
        text = path.read_text(encoding="utf-8")
        self.headers = headers_of(text)
        text = COMMENT_OR_TEXT.sub('""', text)
        self.path = path
        self.is_vector_loop = ".simd." in path.name
        self.stands_alone = bool(MACRO_FOR_HEADERS.search(text) or REPLACED_NEW.search(text))
        self.words = set(WORD.findall(text))
        self.unqualified = set(WORD.findall(QUALIFIED.sub(" ", text))) if renames_helpers else self.words
        self.constants = set()
        self.hidden = set()
        self.macros = set(re.findall(r"^#define (\w+)", text, re.MULTILINE))
        self.helpers = set()
        self.aliases = {}
        is_hidden = self.is_vector_loop # in a namespace of the instruction set
        for line in text.splitlines():
            # What closes a namespace has a comment, of which the quotes are left.
            if line == "namespace {" or line.startswith('} ""'):
                is_hidden = self.is_vector_loop or line == "namespace {"
            # Member functions stand under the name of their class.
            if not NO_DECLARATION.match(line) and not MEMBER.match(line):
                # What a header declares means the same everywhere.
                shared = set() if is_hidden or line.startswith("static ") else header_words
                hides = renames_helpers and not self.is_vector_loop and (is_hidden or line.startswith("static "))
                self.add_declaration(line, shared, hides)
        # Macros of the library of vectors, which stand at the start of a line as well.
        self.helpers = {name for name in self.helpers if not name.startswith("HWY_")}
        self.macros = {name for name in self.macros if not name.startswith("HWY_")}
        # The macro would change the names of tests as well, and what the source takes from elsewhere.
        fixed = {name for names in NAMES_OF_TESTS.findall(text) for name in names} | FIXED
        fixed |= header_words | set(QUALIFIED.findall(text))
        self.renamable = (self.constants | self.hidden) - self.helpers - self.macros - fixed
        # Names that it does not have while it is read.
        self.avoided = self.renamable if renames_helpers else set()
        self.aliases = {name: line for name, line in self.aliases.items() if name not in self.renamable}
        self.helpers |= (self.constants | self.hidden) - self.renamable - self.aliases.keys()

    def headers_from(self, root):
        """The same lines, for a source that is included from elsewhere."""
        for line in self.headers:
            beside = self.path.parent / INCLUDE.match(line)[1]
            yield f'#include "{beside.relative_to(root)}"' if '"' in line and beside.is_file() else line

    def add_declaration(self, line, shared, hides):
        alias = USING.match(line)
        if alias and alias.group(2) and hides:
            self.hidden.add(alias.group(2))
        if alias and alias.group(2) and CONSTANT.search(line):
            self.helpers |= {alias.group(2)} - self.hidden
        elif alias:
            self.aliases[alias.group(2) or alias.group(1).rsplit("::", 1)[-1]] = line
        if alias:
            return
        head = re.split(r"[={;]", line, maxsplit=1)[0]
        self.constants.update(CONSTANT.findall(head))
        kind = TYPE.match(head)
        words = WORD.findall(without_arguments(head).split("(", 1)[0])
        name = kind.group(1) if kind else words[-1] if words else None
        if name and name not in self.constants | shared:
            (self.hidden if hides else self.helpers).add(name)

    def disturbs(self, other):
        """Whether a name of this source could be taken for one of another."""
        words = other.unqualified - other.avoided
        return self.stands_alone or bool(self.macros & other.words) or bool(self.helpers & words) or any(
            name in words and other.aliases.get(name) != meaning
            for name, meaning in self.aliases.items())


def batches_of(sources, size):
    """Puts each source into the first batch that has room and in which it disturbs none."""
    batches = []
    for source in sources:
        for batch in batches:
            if (len(batch) < size and batch[0].is_vector_loop == source.is_vector_loop and not any(
                    source.disturbs(other) or other.disturbs(source) for other in batch)):
                batch.append(source)
                break
        else:
            batches.append([source])
    return batches


def even_batches(sources, size):
    """The same, of about one size."""
    count = -(-len(sources) // size)
    return batches_of(sources, -(-len(sources) // count))


def batches_by_folder(sources, size, root, headers):
    """The same for the sources of each topmost folder, and for all vector loops."""
    folders = {}
    for source in sources:
        folder = "*" if source.is_vector_loop else source.path.relative_to(root).parts[0]
        folders.setdefault(folder, []).append(source)
    for members in folders.values():
        members.sort(key=lambda source: headers.large_for(source.path))
        yield from even_batches(members, size)


def renamed_in(source, batch):
    others = set().union(*(other.words for other in batch if other is not source))
    return sorted(source.renamable & others)


def text_of(batch, root, name=""):
    """A file that includes a batch. Vector loops need its name, as they include it for every instruction set."""
    lines = []
    if batch[0].is_vector_loop:
        itself = ["#undef HWY_TARGET_INCLUDE", f'#define HWY_TARGET_INCLUDE "{name}"']
        lines += [*itself, "#include <hwy/foreach_target.h>"]
    names = {source.path: renamed_in(source, batch) for source in batch}
    if any(set(renamed) & source.hidden for source, renamed in zip(batch, names.values())):
        lines += dict.fromkeys(line for source in batch for line in source.headers_from(root))
    for source in batch:
        renamed = names[source.path]
        suffix = re.sub(r"\W", "_", source.path.stem)
        lines += [f"#define {name} {name}_{suffix}" for name in renamed]
        lines.append(f'#include "{source.path.relative_to(root)}"')
        lines += [f"#undef {name}" for name in renamed]
    if batch[0].is_vector_loop:
        lines += itself # the sources have put theirs there
    return "\n".join(lines) + "\n"


def write_if_changed(path, text):
    if not path.exists() or path.read_text(encoding="utf-8") != text:
        path.write_text(text, encoding="utf-8")


def join(root, folder, size, lists, by_folder=False):
    folder.mkdir(parents=True, exist_ok=True)
    headers = Headers(root)
    for line in lists:
        name, *paths = line.strip().split(";")
        sources = [Source(path, headers.words_for(path), not by_folder) for path in map(Path, paths)]
        batches = batches_by_folder(sources, size, root, headers) if by_folder else even_batches(sources, size)
        compiled = []
        for number, batch in enumerate(batches):
            if len(batch) == 1:
                compiled.append(str(batch[0].path))
                continue
            path = folder / f"{name}{number}{'.simd' if batch[0].is_vector_loop else ''}.cpp"
            write_if_changed(path, text_of(batch, root, path.name))
            compiled.append(str(path))
        write_if_changed(folder / f"{name}.txt", "\n".join(compiled) + "\n")


def main(arguments):
    by_folder = arguments[:1] == ["--by-folder"]
    root, folder, size = arguments[by_folder:]
    join(Path(root), Path(folder), int(size), sys.stdin, by_folder)


if __name__ == "__main__":
    main(sys.argv[1:])
