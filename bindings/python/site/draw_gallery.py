"""Draws the pictures of docs/python/gallery.md by its own code, into docs/pictures."""

from __future__ import annotations

import os
from pathlib import Path

import figures
import pages

ROOT = Path(__file__).resolve().parents[3]


def main() -> None:
    """A block of the page that draws is followed by its picture."""
    os.chdir(ROOT)
    page = ROOT / "docs/python/gallery.md"
    figures.prepare()
    for block, _ in pages.run_page(page):
        drawn = figures.taken()
        if block.picture is None:
            continue
        file = (page.parent / block.picture).resolve()
        file.write_bytes(drawn[0])
        print(f"{file.relative_to(ROOT)}: {len(drawn[0]) / 1024:.0f} kB")


if __name__ == "__main__":
    main()
