"""Figures of matplotlib as small pictures."""

from __future__ import annotations

import io
from typing import Any

import matplotlib
from matplotlib import pyplot
from PIL import Image

#: Dots per inch.
RESOLUTION = 96
COLOURS = 64


def prepare() -> None:
    """Figures are kept until `taken` takes them, and no window opens."""
    matplotlib.use("agg")
    pyplot.close("all")
    pyplot.rcParams.update({"figure.figsize": (8, 3), "figure.constrained_layout.use": True, "font.size": 9})
    # Without a window there is nothing to show, and matplotlib warns of that.
    pyplot.show = _show


def _show(*_: Any, **__: Any) -> None:
    """The figures stay open."""


def taken(resolution: float = RESOLUTION) -> list[bytes]:
    """The open figures as files in PNG, with few colours. Closes them."""
    pictures = [_drawn(pyplot.figure(number), resolution) for number in pyplot.get_fignums()]
    pyplot.close("all")
    return pictures


def _drawn(figure: Any, resolution: float) -> bytes:
    drawn = io.BytesIO()
    figure.savefig(drawn, format="png", dpi=resolution)
    small = io.BytesIO()
    with Image.open(drawn) as image:
        image.convert("RGB").quantize(COLOURS, dither=Image.Dither.NONE).save(small, "png", optimize=True)
    return small.getvalue()
