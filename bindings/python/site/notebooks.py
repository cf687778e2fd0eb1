"""Notebooks as Python files in cells.

``# %% [markdown]`` begins a cell of text, of which each line begins with ``#``; ``# %%`` begins one of
code. Jupyter (with jupytext), Spyder, PyCharm and VS Code open such files as notebooks, and Python runs
them. `to_ipynb` writes the form that Jupyter has without help.
"""

from __future__ import annotations

import ast
import json
import re
from collections.abc import Iterator
from dataclasses import dataclass
from pathlib import Path
from typing import Any

import figures
import pages

_MARK = re.compile(r"^# %%(?P<text> \[markdown\])?$")


@dataclass(frozen=True)
class Cell:
    """A cell; `line` is the number of lines of the file above its source."""

    is_text: bool
    source: str
    line: int


@dataclass(frozen=True)
class Shown:
    """What a cell shows: what it prints, a table in HTML, and pictures."""

    cell: Cell
    printed: str
    table: str
    pictures: list[bytes]


def _cell(is_text: bool, lines: list[str], above: int) -> Cell:
    if is_text:
        lines = [line.removeprefix("#").removeprefix(" ") for line in lines]
    return Cell(is_text, "\n".join(lines).strip("\n"), above)


def cells_of(path: Path) -> list[Cell]:
    """The cells of a notebook, in order.

    Raises
    ------
    ValueError
        For a file with anything before the first cell.
    """
    lines = path.read_text(encoding="utf-8").splitlines()
    marks = [(number, found) for number, line in enumerate(lines) if (found := _MARK.match(line))]
    if not marks or marks[0][0] != 0:
        raise ValueError(f"{path}: the first line begins no cell")
    ends = [number for number, _ in marks[1:]] + [len(lines)]
    return [
        _cell(bool(found["text"]), lines[number + 1 : end], number + 1)
        for (number, found), end in zip(marks, ends, strict=True)
    ]


def _table(cell: Cell, names: dict[str, Any]) -> str:
    """The table of what is named in the last line of a cell, if it has one."""
    last = ast.parse(cell.source).body[-1]
    if not (isinstance(last, ast.Expr) and isinstance(last.value, (ast.Name, ast.Subscript))):
        return ""
    value = eval(ast.unparse(last), names)
    return str(value._repr_html_()) if hasattr(value, "_repr_html_") else ""


def run(
    path: Path, names: dict[str, Any], resolution: float = figures.RESOLUTION
) -> Iterator[Shown]:
    """Runs a notebook cell by cell in the namespace `names`.

    Tables are shown of values at the end of a cell that have one, as in Jupyter.
    """
    figures.prepare()
    names["__name__"] = "__main__"
    for cell in cells_of(path):
        if cell.is_text:
            yield Shown(cell, "", "", [])
            continue
        printed = pages.run(cell.source, path, cell.line, names)
        yield Shown(cell, printed, _table(cell, names), figures.taken(resolution))


def to_ipynb(path: Path) -> str:
    """The notebook in Jupyter's format, without outputs."""
    cells: list[dict[str, Any]] = []
    for cell in cells_of(path):
        source = cell.source.splitlines(keepends=True)
        kind = "markdown" if cell.is_text else "code"
        of_code: dict[str, Any] = {} if cell.is_text else {"execution_count": None, "outputs": []}
        cells.append({"cell_type": kind, "metadata": {}, "source": source, **of_code})
    kernel = {"display_name": "Python 3", "language": "python", "name": "python3"}
    notebook = {
        "cells": cells,
        "metadata": {"kernelspec": kernel, "language_info": {"name": "python"}},
        "nbformat": 4,
        "nbformat_minor": 4,
    }
    return json.dumps(notebook, indent=1, ensure_ascii=False) + "\n"
