"""Drawings of results by matplotlib, where it is installed."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any

import numpy as np

from qelaudio._errors import STATUS_BAD_FORMAT, Error

if TYPE_CHECKING:
    from matplotlib.axes import Axes

    from qelaudio._features import Result

MOST_LINES = 32
MOST_TICKS = 6
#: Decibels per decade of what is drawn as levels: on a linear scale all but the peaks is black.
LEVELS = {"magnitude": 20.0, "full scale": 20.0, "full scale^2": 10.0}
LOWEST_LEVEL = -80.0


def _line_style(result: Any, style: dict[str, Any]) -> dict[str, Any]:
    """A line needs two points: a single one is a dot."""
    return style if len(result) > 1 else {"marker": "o", **style}


def _levels(numbers: Any, per_decade: float) -> Any:
    """Decibels below the largest number."""
    largest = np.fmax.reduce(numbers, axis=None, initial=np.finfo(np.float32).tiny)
    ratios = np.maximum(numbers / largest, 10 ** (LOWEST_LEVEL / per_decade))
    return per_decade * np.log10(ratios)


def _draw_events(result: Any, ax: Any, channel: int, style: dict[str, Any]) -> None:
    times, strengths = result.channel(channel)
    ax.vlines(times, 0, strengths, **style)
    ax.set_ylabel(result.names[-1])


def _draw_names(result: Any, ax: Any, channel: int, style: dict[str, Any]) -> None:
    names = result.values[channel]
    shown = sorted(set(names))
    style = _line_style(result, {"drawstyle": "steps-post", **style})
    ax.plot(result.start_times, [shown.index(name) for name in names], **style)
    ax.set_yticks(range(len(shown)), shown)


def _draw_partials(result: Any, ax: Any, channel: int, style: dict[str, Any]) -> None:
    counts = np.diff(result.offsets[channel])
    begin, end = result.offsets[channel, 0], result.offsets[channel, -1]
    times = np.repeat(result.centre_times, counts)
    ax.scatter(times, result.frequency[begin:end], **{"s": 1, **style})
    ax.set_ylabel("Hz")


def _draw_lines(result: Any, ax: Any, channel: int, style: dict[str, Any]) -> None:
    style = _line_style(result, style)
    for k, name in enumerate(result.names):
        ax.plot(result.centre_times, result.values[channel, :, k], **{"label": name, **style})
    if len(result.names) > 1:
        ax.legend(fontsize="small")
    ax.set_ylabel(result.unit)


def _draw_image(result: Any, ax: Any, channel: int, style: dict[str, Any]) -> None:
    is_complex = result.key.payload == "complex"
    numbers = np.abs(result.complex[channel]) if is_complex else result.values[channel]
    per_decade = LEVELS.get(result.unit)
    if per_decade:
        numbers = _levels(numbers, per_decade)
    end = result.start_times[-1] + result.hop / result.sample_rate if len(result) else 1
    start = result.start_times[0] if len(result) else 0
    hertz = result.frequencies
    is_even = hertz is not None and np.allclose(np.diff(hertz, 2), 0)
    scale = hertz[1] if is_even else 1
    extent = (start, end, -0.5 * scale, (numbers.shape[1] - 0.5) * scale)
    ax.imshow(numbers.T, **{"aspect": "auto", "origin": "lower", "extent": extent, **style})
    if hertz is not None and not is_even:
        rows = np.arange(0, len(hertz), max(1, len(hertz) // MOST_TICKS))
        ax.set_yticks(rows, [f"{hertz[row]:.0f}" for row in rows])
    what = "number of the value" if hertz is None else "Hz"
    ax.set_ylabel(what + (" (colour: dB)" if per_decade else ""))


def _drawer(result: Any) -> Any:
    if result.key.payload in ("events", "names", "partials"):
        return {"events": _draw_events, "names": _draw_names, "partials": _draw_partials}[
            result.key.payload
        ]
    is_lines = len(result.names) == result.values.shape[2] <= MOST_LINES
    return _draw_lines if is_lines else _draw_image


def plot(result: Result, ax: Axes | None, channel: int, style: dict[str, Any]) -> Axes:
    if not 0 <= channel < result.channels:
        raise Error(f"no channel {channel}; there are {result.channels}", STATUS_BAD_FORMAT)
    if ax is None:
        from matplotlib import pyplot

        ax = pyplot.subplots()[1]
    _drawer(result)(result, ax, channel, style)
    ax.set_xlabel("s")
    ax.set_title(result.name)
    return ax
