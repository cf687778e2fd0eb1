"""Results as tables of pandas and as arrays of xarray, where these are installed."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any

import numpy as np
from numpy.typing import NDArray

if TYPE_CHECKING:
    import pandas
    import xarray

    from qelaudio._features import Result

#: Keys with a number, or a pair, for each bin of their transform.
IN_BINS = ("spectrum", "mel spectrum", "instantaneous frequency", "reasigned spectrum")


def columns(result: Any) -> list[str]:
    """A name for each number of a frame: those of the values, or ``name_0``, ``name_1`` and so on."""
    size = result.values.shape[2]
    if len(result.names) == size:
        return list(result.names)
    if result.key.payload == "complex":
        return [f"{part}_{k}" for k in range(size // 2) for part in ("real", "imag")]
    return [f"{result.names[0]}_{k}" for k in range(size)]


def frequencies(result: Any) -> NDArray[np.float64] | None:
    """Of the numbers of a frame, in Hz, as the definitions of the keys have them; None without."""
    is_complex = result.key.payload == "complex"
    places = np.arange(result.values.shape[2] // (2 if is_complex else 1), dtype=np.float64)
    hertz: NDArray[np.float64] | None = None
    if result.name == "constant q spectrum":
        hertz = 90 * 2 ** (places / 36)
    elif result.name == "gamma tome spectrum":
        hertz = (1.6146 * 1.1275**places - 1.3356) * result.sample_rate / result.frame
    elif result.name in IN_BINS:
        hertz = places * (result.sample_rate / result.frame)
    return hertz


def _channel_column(counts: list[int]) -> Any:
    return np.repeat(np.arange(len(counts)), counts)


def _events(result: Any) -> dict[str, Any]:
    channel = _channel_column(np.diff(result.offsets).tolist())
    return {"channel": channel, "time": result.times, result.names[-1]: result.strengths}


def _partials(result: Any) -> dict[str, Any]:
    counts = np.diff(result.offsets, axis=1)
    frames = np.tile(result.start_times, result.channels)
    fields = ("bin", "frequency", "magnitude", "phase", "frame_number")
    return {
        "channel": _channel_column(counts.sum(axis=1).tolist()),
        "time": np.repeat(frames, counts.reshape(-1)),
        **{name: getattr(result, name) for name in fields},
    }


def _per_frame(result: Any) -> dict[str, Any]:
    frames = len(result)
    table: dict[str, Any] = {
        "channel": _channel_column([frames] * result.channels),
        "time": np.tile(result.start_times, result.channels),
        "centre": np.tile(result.centre_times, result.channels),
    }
    if isinstance(result.values, list):
        table[result.names[0]] = [name for channel in result.values for name in channel]
        return table
    flat = result.values.reshape(result.channels * frames, -1)
    return table | {name: flat[:, k] for k, name in enumerate(columns(result))}


def table_of(result: Any) -> dict[str, Any]:
    """The columns of a table: name to array."""
    makers = {"events": _events, "partials": _partials}
    return makers.get(result.key.payload, _per_frame)(result)


def to_pandas(result: Result) -> pandas.DataFrame:
    import pandas

    return pandas.DataFrame(table_of(result))


def to_xarray(result: Result) -> xarray.Dataset:
    import xarray

    attributes = {
        "sample_rate": result.sample_rate,
        "frame": result.frame,
        "hop": result.hop,
        "unit": result.unit,
    }
    if not hasattr(result, "values") or isinstance(result.values, list):
        table = xarray.Dataset.from_dataframe(to_pandas(result))
        return table.assign_attrs(attributes)
    coordinates = {
        "channel": np.arange(result.channels),
        "time": ("time", result.start_times, {"unit": "s"}),
        "centre": ("time", result.centre_times, {"unit": "s"}),
        "value": columns(result),
    }
    data = (("channel", "time", "value"), result.values, {"unit": result.unit})
    return xarray.Dataset({result.name: data}, coords=coordinates, attrs=attributes)
