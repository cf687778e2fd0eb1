"""Results: numbers, events, names and partials."""

from __future__ import annotations

import html
from collections.abc import Iterator
from dataclasses import dataclass, field
from typing import TYPE_CHECKING, Any

import numpy as np
from numpy.typing import NDArray

from qelaudio import _frames, _plots
from qelaudio._errors import STATUS_BAD_FORMAT, STATUS_UNKNOWN, Error
from qelaudio._keys import Key
from qelaudio._texts import counted

if TYPE_CHECKING:
    import pandas
    import xarray
    from matplotlib.axes import Axes

Floats = NDArray[np.float32]
Times = NDArray[np.float64]


def as_array(array: NDArray[Any], dtype: Any, copy: bool | None) -> NDArray[Any]:
    """What NumPy asks an object for. Versions before 2 know no copy=None."""
    if copy is None:
        return array if dtype is None else array.astype(dtype, copy=False)
    return np.array(array, dtype=dtype, copy=copy)


@dataclass(frozen=True, eq=False, repr=False)
class Result:
    """What all results have.

    Attributes
    ----------
    key : Key
        What was computed.
    sample_rate : float
        Of the analyzed audio, in Hz.
    channels : int
        Analyzed channels, 1 for a mono mix.
    frame, hop : int
        Samples of a frame, and from one result to the next. 0: the key has no frames.
    start_times, centre_times : array of float64, shape (frames,)
        Seconds from the start of the stream to the first sample and to the middle of each frame.
        For a result of the whole stream: 0 and the middle of the stream.
    """

    key: Key
    sample_rate: float
    channels: int
    frame: int
    hop: int
    start_times: Times = field(repr=False)
    centre_times: Times = field(repr=False)

    @property
    def name(self) -> str:
        """The name of the key."""
        return self.key.name

    @property
    def names(self) -> tuple[str, ...]:
        """The names of the values."""
        return tuple(value.name for value in self.key.values)

    @property
    def unit(self) -> str:
        """The unit of the first value; ``"1"`` for a pure number."""
        return self.key.unit

    @property
    def units(self) -> tuple[str, ...]:
        """The units of the values, in the order of `names`."""
        return tuple(value.unit for value in self.key.values)

    def __len__(self) -> int:
        return len(self.start_times)

    def _facts(self) -> dict[str, str]:
        """What a notebook shows."""
        facts = {"unit": ", ".join(dict.fromkeys(self.units)), "sample rate": f"{self.sample_rate:g} Hz"}
        if self.hop:
            facts["frame, hop"] = f"{self.frame}, {self.hop} samples"
        return facts

    def _size(self) -> str:
        raise NotImplementedError

    def __repr__(self) -> str:
        return f"<{type(self).__name__} {self.name!r}: {self._size()}>"

    def _repr_html_(self) -> str:
        rows = {"": self._size(), **self._facts()}
        cells = "".join(
            f"<tr><th>{html.escape(name)}</th><td>{html.escape(text)}</td></tr>"
            for name, text in rows.items()
        )
        return f"<table><caption>{html.escape(self.name)}</caption>{cells}</table>"

    def to_pandas(self) -> pandas.DataFrame:
        """A table with one row per channel and frame, event or partial.

        Returns
        -------
        pandas.DataFrame

        Raises
        ------
        ImportError
            If pandas is not installed.
        """
        return _frames.to_pandas(self)

    def to_xarray(self) -> xarray.Dataset:
        """A labelled array of the numbers, with times and units.

        Returns
        -------
        xarray.Dataset
            With the coordinates ``channel``, ``time`` (starts of frames, seconds) and ``centre``.

        Raises
        ------
        ImportError
            If xarray is not installed.
        """
        return _frames.to_xarray(self)

    def plot(self, ax: Axes | None = None, *, channel: int = 0, **style: Any) -> Axes:
        """Draws the result over time.

        Parameters
        ----------
        ax : matplotlib.axes.Axes, optional
            Where to draw; a new one by default.
        channel : int
            Which channel, from 0.
        **style
            Passed on to the function of matplotlib that draws.

        Returns
        -------
        matplotlib.axes.Axes

        Raises
        ------
        ImportError
            If matplotlib is not installed.
        """
        return _plots.plot(self, ax, channel, style)


@dataclass(frozen=True, eq=False, repr=False)
class Feature(Result):
    """Numbers: one vector per channel and frame.

    Attributes
    ----------
    values : array of float32, shape (channels, frames, values)
        No axis ever disappears. The last one has `Key.size` numbers. A value that was not found in
        ``"audio range"`` is not a number.
    """

    values: Floats = field(repr=False)

    @property
    def times(self) -> Times:
        """`start_times`: seconds to the first sample of each frame."""
        return self.start_times

    @property
    def frequencies(self) -> Times | None:
        """The frequency of each number of a frame in Hz, shape (values,); None without frequencies.

        Complex numbers have one for each pair: shape (values / 2,).
        """
        return _frames.frequencies(self)

    @property
    def complex(self) -> NDArray[np.complex64]:
        """A view of `values` as complex numbers, shape (channels, frames, values / 2).

        Raises
        ------
        Error
            If the key does not have complex numbers.
        """
        if self.key.payload != "complex":
            raise Error(f'"{self.name}" has no complex numbers', STATUS_UNKNOWN)
        return self.values.view(np.complex64)

    def __getitem__(self, name: str) -> Floats:
        """One value by its name.

        Returns
        -------
        array of float32
            A view of the shape (channels, frames); of the shape (channels, frames, places) for a
            vector, whose places share one name, and for the real or imaginary parts of complex
            numbers.

        Raises
        ------
        Error
            With `STATUS_UNKNOWN` if the key has no such value.
        TypeError
            For an index: `values` has the array.
        """
        if not isinstance(name, str):
            raise TypeError(f"a value is chosen by its name; use .values[{name!r}] for an index")
        if name not in self.names:
            known = ", ".join(f'"{known}"' for known in self.names)
            raise Error(f'"{self.name}" has no value "{name}"; it has {known}', STATUS_UNKNOWN)
        index = self.names.index(name)
        if self.key.payload == "complex":
            return self.values[:, :, index::2]
        if self.key.payload == "vector" and self.key.size > 1:
            return self.values
        return self.values[:, :, index]

    #: Not iterable, as frames or values could be expected: iterate over `names` or `values`.
    __iter__ = None

    def __array__(self, dtype: Any = None, copy: bool | None = None) -> NDArray[Any]:
        return as_array(self.values, dtype, copy)

    def _size(self) -> str:
        channels, frames, values = self.values.shape
        sizes = ((channels, "channel"), (frames, "frame"), (values, "value"))
        return ", ".join(counted(*size) for size in sizes)


@dataclass(frozen=True, eq=False, repr=False)
class Events(Result):
    """Moments in time, each with a strength, in ascending order of time.

    The events of all channels follow each other; those of channel c are
    ``times[offsets[c]:offsets[c + 1]]``, which `channel` gives. With one channel `times` is all.

    Attributes
    ----------
    times : array of float64, shape (events,)
        Seconds from the start of the stream.
    strengths : array of float32, shape (events,)
        See the definition of the key.
    offsets : array of int64, shape (channels + 1,)
        Where the events of each channel begin, and where the last ones end.
    is_found : bool
        False: the audio has no result, for example no tempo. An empty list is a result, too.
    """

    times: Times = field(repr=False)
    strengths: Floats = field(repr=False)
    offsets: NDArray[np.int64] = field(repr=False)
    is_found: bool = True

    def channel(self, index: int) -> tuple[Times, Floats]:
        """Times and strengths of one channel, as views.

        Parameters
        ----------
        index : int
            0 to channels - 1.

        Raises
        ------
        Error
            For any other index.
        """
        begin, end = _part(self.offsets, index, self.channels)
        return self.times[begin:end], self.strengths[begin:end]

    def __len__(self) -> int:
        return len(self.times)

    def __array__(self, dtype: Any = None, copy: bool | None = None) -> NDArray[Any]:
        """The times."""
        return as_array(self.times, dtype, copy)

    def _size(self) -> str:
        size = f"{counted(self.channels, 'channel')}, {counted(len(self), 'event')}"
        return size + ("" if self.is_found else ", no result")


@dataclass(frozen=True, eq=False, repr=False)
class Names(Result):
    """Names, such as those of musical keys.

    Attributes
    ----------
    values : list of list of str
        ``values[channel][frame]``.
    """

    values: list[list[str]] = field(repr=False)

    @property
    def times(self) -> Times:
        """`start_times`: seconds to the first sample of each frame."""
        return self.start_times

    def __getitem__(self, channel: int) -> list[str]:
        return self.values[channel]

    def __iter__(self) -> Iterator[list[str]]:
        return iter(self.values)

    def _size(self) -> str:
        return f"{counted(self.channels, 'channel')}, {counted(len(self), 'name')}"


@dataclass(frozen=True, eq=False, repr=False)
class Partials(Result):
    """Sinusoidal tracks: a list per channel and frame, of any length.

    The partials of all frames follow each other; those of frame f of channel c are those from
    ``offsets[c, f]`` to ``offsets[c, f + 1]``, which `at` gives.

    Attributes
    ----------
    bin : array of int32, shape (partials,)
    frequency : array of float32, shape (partials,)
        In Hz.
    magnitude : array of float32, shape (partials,)
        Linear, as in ``"spectrum"``.
    phase : array of float32, shape (partials,)
        In radians.
    frame_number : array of float64, shape (partials,)
        The number of the frame, from 0.
    offsets : array of int64, shape (channels, frames + 1)
        Where the partials of each frame begin, and where those of the last one end.
    """

    bin: NDArray[np.int32] = field(repr=False)
    frequency: Floats = field(repr=False)
    magnitude: Floats = field(repr=False)
    phase: Floats = field(repr=False)
    frame_number: Times = field(repr=False)
    offsets: NDArray[np.int64] = field(repr=False)

    @property
    def times(self) -> Times:
        """`start_times`: seconds to the first sample of each frame."""
        return self.start_times

    def at(self, frame: int, channel: int = 0) -> dict[str, NDArray[Any]]:
        """The partials of one frame, the oldest track first: views by the names of the attributes.

        Raises
        ------
        Error
            For a channel or frame that does not exist.
        """
        if not 0 <= channel < self.channels:
            raise Error(f"no channel {channel}; there are {self.channels}", STATUS_BAD_FORMAT)
        begin, end = _part(self.offsets[channel], frame, len(self))
        fields = ("bin", "frequency", "magnitude", "phase", "frame_number")
        return {name: getattr(self, name)[begin:end] for name in fields}

    def _size(self) -> str:
        sizes = ((self.channels, "channel"), (len(self), "frame"), (len(self.bin), "partial"))
        return ", ".join(counted(*size) for size in sizes)


def _part(offsets: NDArray[np.int64], index: int, count: int) -> tuple[int, int]:
    if not 0 <= index < count:
        raise Error(f"no entry {index}; there are {count}", STATUS_BAD_FORMAT)
    return int(offsets[index]), int(offsets[index + 1])


def make_result(key: Key, sample_rate: float, channels: int, parts: dict[str, Any]) -> Result:
    """The result of a key from what the module _core has taken."""
    shared: dict[str, Any] = {
        "key": key,
        "sample_rate": sample_rate,
        "channels": channels,
        "frame": parts.pop("frame"),
        "hop": parts.pop("hop"),
        "start_times": parts.pop("starts"),
        "centre_times": parts.pop("centres"),
    }
    is_found = parts.pop("delivered")
    if key.payload == "events":
        return Events(**shared, **parts, is_found=is_found)
    if key.payload == "names":
        return Names(**shared, **parts)
    if key.payload == "partials":
        return Partials(**shared, **parts)
    return Feature(**shared, **parts)
