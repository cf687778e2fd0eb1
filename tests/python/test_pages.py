"""The pages: their code runs, prints what they say, and draws their pictures."""

from __future__ import annotations

import dataclasses
import os
import re
from collections.abc import Iterator
from pathlib import Path

import figures
import pages
import pytest
from PIL import Image

import qelaudio

ROOT = Path(__file__).resolve().parents[2]
PAGES = sorted((ROOT / "docs/python").glob("*.md"))
README = ROOT / "README.md"
GALLERY = ROOT / "docs/python/gallery.md"
QUOTED = re.compile(r'"([^"]+)"')
COARSE = 12  # dots per inch: figures are drawn, and quickly


@pytest.fixture(autouse=True)
def reader(monkeypatch: pytest.MonkeyPatch, tmp_path: Path) -> Iterator[Path]:
    """Works where a reader would, in a folder with the sample recording, and sees no window."""
    (tmp_path / "examples").symlink_to(ROOT / "examples")
    monkeypatch.chdir(tmp_path)
    figures.prepare()
    yield tmp_path
    figures.taken(COARSE)


def fences(text: str) -> list[str]:
    """The first line of all fenced blocks, wherever they stand."""
    return re.findall(r"^\s*(?:```|~~~)(.+)$", text, re.MULTILINE)


@pytest.mark.parametrize("path", [*PAGES, README], ids=lambda path: str(path.name))
def test_pages_print_what_they_say_and_draw_what_they_show(path: Path) -> None:
    count = 0
    shown = set()
    for block, printed in pages.run_page(path):
        assert printed == (block.printed or ""), f"{path.name}:{block.line}"
        drawn = figures.taken(COARSE)
        count += 1
        if path == GALLERY:
            assert len(drawn) == (block.picture is not None), f"{path.name}:{block.line}"
        if block.picture is not None:
            shown.add((path.parent / block.picture).resolve())
    assert count == sum("py" in fence for fence in fences(path.read_text()))
    assert shown == (set((ROOT / "docs/pictures/gallery").iterdir()) if path == GALLERY else set())


@pytest.mark.parametrize("path", PAGES, ids=lambda path: str(path.name))
def test_pages_hide_no_code(path: Path) -> None:
    """Other fences than those that are run, or prompts, would be code that nobody runs."""
    text = path.read_text()
    assert set(fences(text)) <= {"python", "text"}
    assert not re.search(r"^\s*(>>>|\.\.\. )", text, re.MULTILINE)


def test_the_pages_that_must_have_code_have_some() -> None:
    counts = {path.stem: len(pages.blocks_of(path.read_text())) for path in [*PAGES, README]}
    assert counts["start"] > 8 and counts["librosa"] > 10 and counts["gallery"] > 5
    assert counts["README"] == 1


def test_the_pictures_of_the_gallery_are_small() -> None:
    for file in (ROOT / "docs/pictures/gallery").iterdir():
        assert file.stat().st_size < 100_000, file.name
        with Image.open(file) as picture:
            assert (picture.format, picture.width) == ("PNG", 768)


def test_the_site_names_every_page() -> None:
    """MkDocs refuses a page that its navigation lacks; this test tells it without MkDocs."""
    named = set(re.findall(r"- (\S+\.md)$", (ROOT / "mkdocs.yml").read_text(), re.MULTILINE))
    docs = ROOT / "docs"
    there = {str(path.relative_to(docs)) for path in docs.rglob("*.md")}
    numbered = {page for page in there if re.match(r"dev/decisions/\d", page)}
    notebooks = {f"notebooks/{path.stem}.md" for path in (docs / "notebooks").glob("*.py")}
    assert named == (there - numbered) | notebooks


def test_the_interface_is_on_its_page() -> None:
    named = set(re.findall(r"^::: qelaudio\.(\w+)$", (ROOT / "docs/python/api.md").read_text(), re.MULTILINE))
    assert named == set(qelaudio.__all__)


@pytest.mark.parametrize("name", ["which", "librosa"])
def test_the_names_in_tables_exist(name: str) -> None:
    keys = qelaudio.keys().values()
    known = {alias for key in keys for alias in (key.name, *key.aliases)}
    known |= {value.name for key in keys for value in key.values}
    known |= {field.name for field in dataclasses.fields(qelaudio.Readings)}
    rows = [
        row for row in (ROOT / f"docs/python/{name}.md").read_text().splitlines() if row.startswith("|")
    ]
    named = [text for row in rows for code in re.findall(r"`([^`]+)`", row) for text in QUOTED.findall(code)]
    assert len(named) > 15
    # An argument of librosa.
    assert set(named) - {"time"} <= known


def test_a_page_that_says_something_else_is_found(tmp_path: Path) -> None:
    page = tmp_path / "page.md"
    page.write_text("# A\n\n```python\nprint(1)\n```\n\n```text\n2\n```\n\n```python\nraise KeyError\n```\n")
    run = pages.run_page(page)
    block, printed = next(run)
    assert (block.printed, printed, block.line) == ("2\n", "1\n", 3)
    with pytest.raises(KeyError) as raised:
        next(run)
    assert raised.traceback[-1].lineno == 11
    assert os.path.samefile(raised.traceback[-1].path, page)
