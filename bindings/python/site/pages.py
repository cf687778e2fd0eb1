"""The Python code of the pages: its blocks, what they print, and the pictures that they draw.

A page is run from top to bottom in one namespace, as its reader would. A block of ``text`` after a
block of ``python`` is what that block prints. A picture after it is what the block draws.
"""

from __future__ import annotations

import contextlib
import io
import re
from collections.abc import Iterator
from dataclasses import dataclass
from pathlib import Path
from typing import Any

_BLOCK = re.compile(
    r"^```python\n(?P<code>.*?)^```\n"
    r"(?:\n*```text\n(?P<printed>.*?)^```\n)?"
    r"(?:\n*!\[[^]]*\]\((?P<picture>[^)]+)\))?",
    re.MULTILINE | re.DOTALL,
)


@dataclass(frozen=True)
class Block:
    """A block of code.

    Attributes
    ----------
    code : str
    line : int
        Lines of the page above the code.
    printed : str or None
        What the page says it prints.
    picture : str or None
        Path of the picture that follows, from the page.
    """

    code: str
    line: int
    printed: str | None
    picture: str | None


def blocks_of(page: str) -> list[Block]:
    """The blocks of Python of a page, in order."""
    return [
        Block(
            found["code"], page.count("\n", 0, found.start("code")), found["printed"], found["picture"]
        )
        for found in _BLOCK.finditer(page)
    ]


def run(code: str, path: Path, line: int, names: dict[str, Any]) -> str:
    """Runs code that begins after so many lines of a file.

    Returns
    -------
    str
        What it prints.
    """
    printed = io.StringIO()
    with contextlib.redirect_stdout(printed):
        exec(compile("\n" * line + code, str(path), "exec"), names)
    return printed.getvalue()


def run_page(path: Path) -> Iterator[tuple[Block, str]]:
    """Runs the blocks of a page one after the other, each with what it prints."""
    names: dict[str, Any] = {"__name__": "__main__"}
    for block in blocks_of(path.read_text(encoding="utf-8")):
        yield block, run(block.code, path, block.line, names)
