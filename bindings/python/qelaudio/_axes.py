"""What the rows of a picture stand for, and what values of the page are as text."""

from __future__ import annotations

import math
from typing import Any

import numpy as np
from numpy.typing import NDArray

NOTES = ("C", "C♯", "D", "D♯", "E", "F", "F♯", "G", "G♯", "A", "A♯", "B")
#: The letters by fifths, one of each further sharp than the one before.
FIFTHS = "FCGDAEB"

Ticks = list[tuple[float, str]]


def _mel(hz: float) -> float:
    return 2595 * math.log10(1 + hz / 700)


def _mel_ticks(lane: dict[str, Any], rate: float) -> Ticks:
    shown = [hz for hz in (0, 500, 1000, 2000, 4000, 8000, 16000) if hz < rate / 2]
    labels = [f"{hz}" if hz < 1000 else f"{hz // 1000}k" for hz in shown]
    scale = lane["rows"] / _mel(rate / 2)
    return [(_mel(hz) * scale, label) for hz, label in zip(shown, labels, strict=True)]


def _octave_ticks(lane: dict[str, Any], _rate: float) -> Ticks:
    rows = [
        (
            lane["rowsPerOctave"] * math.log2(55 * 2**octave / lane["lowestHz"]) + 0.5,
            f"A{octave + 1}",
        )
        for octave in range(1, 7)
    ]
    return [(row, label) for row, label in rows if row < lane["rows"]]


def _note_ticks(lane: dict[str, Any], _rate: float) -> Ticks:
    return [(row + 0.5, name) for row, name in enumerate(lane["names"])]


TICKS = {"mel": _mel_ticks, "octaves": _octave_ticks, "notes": _note_ticks}


def row_ticks(lane: dict[str, Any], rate: float) -> Ticks:
    """Where the labels of a picture's rows stand. Row r covers the places from r to r + 1."""
    return TICKS[lane["axis"]](lane, rate)


def time_text(seconds: float, digits: int = 0) -> str:
    """``"1:02.3"``, ``"1:00:00"``."""
    scale: int = 10**digits
    rounded = round(max(seconds, 0) * scale) / scale
    minutes, rest = divmod(rounded, 60)
    width = digits + 3 if digits else 2
    hours, minutes = divmod(int(minutes), 60)
    tail = f"{rest:0{width}.{digits}f}"
    return f"{hours}:{minutes:02}:{tail}" if hours else f"{minutes}:{tail}"


def key_text(name: str) -> str:
    """``"C# minor"`` with the true sign."""
    tonic, _, mode = name.partition(" ")
    return f"{tonic[:1]}{tonic[1:].replace('#', '♯').replace('b', '♭')} {mode}"


def key_hue(name: str) -> float:
    """A hue from 0 to 1: neighbours on the circle of fifths have neighbouring hues."""
    tonic, _, mode = name.partition(" ")
    fifths = FIFTHS.find(tonic[:1]) - 1 + 7 * (tonic.count("#") - tonic[1:].count("b"))
    return ((fifths + (9 if mode == "minor" else 0)) % 12 * 30 + 200) % 360 / 360


def usable(values: NDArray[np.floating[Any]]) -> NDArray[np.floating[Any]]:
    """Values of a curve with gaps where there is none."""
    return np.where(np.isfinite(values) & (values != 0), values, np.nan)


def value_range(
    lists: list[NDArray[np.floating[Any]]], lowest: float = -math.inf
) -> tuple[float, float] | None:
    """The range that holds nearly all values of each list; None without values."""
    known = [np.sort(part[np.isfinite(part)]) for part in lists]
    known = [part for part in known if len(part)]
    if not known:
        return None
    high = max(*(float(part[math.ceil((len(part) - 1) * 0.995)]) for part in known), lowest + 1)
    low = max(min(float(part[math.floor(len(part) * 0.02)]) for part in known), lowest)
    margin = max((high - low) * 0.1, 1)
    return math.floor(low - margin), math.ceil(high + margin)
