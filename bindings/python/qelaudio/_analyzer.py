"""Streaming."""

from __future__ import annotations

from collections.abc import Iterable, Mapping
from types import TracebackType
from typing import Any, Literal

from numpy.typing import ArrayLike

from qelaudio import _core
from qelaudio._analysis import Analysis
from qelaudio._analyze import MOST_LENGTH, checked_block, checked_mix
from qelaudio._errors import STATUS_NOT_READY, Error
from qelaudio._keys import canonical_list, parameter_named, shortened
from qelaudio._keys import keys as key_table
from qelaudio._parameters import (
    RANGE,
    checked_parameters,
    checked_value,
    parameters_of,
    require_order,
    require_owner,
)
from qelaudio._sources import MOST_CHANNELS, as_samples, bad, checked_count, checked_rate
from qelaudio._texts import counted


class _ParameterAttribute:
    """A parameter of the library as an attribute."""

    def __init__(self, name: str) -> None:
        self._name = name
        parameter = parameter_named(name)
        unit = "" if parameter.unit == "1" else f" {parameter.unit}"
        owners = ", ".join(f'``"{key}"``' for key in parameter.keys)
        self.__doc__ = (
            f"{parameter.definition} {parameter.minimum:g} to {parameter.maximum:g}{unit}, "
            f"{parameter.default:g} by default. For {owners}."
        )

    def __get__(self, analyzer: Analyzer | None, owner: type | None = None) -> Any:
        return self if analyzer is None else analyzer._parameter(self._name)

    def __set__(self, analyzer: Analyzer, value: float) -> None:
        analyzer._set_parameter(self._name, value)


class Analyzer:
    """Analyzes a stream that comes in pieces.

    Pieces of any length are joined to blocks of one size, so that results do not depend on how the
    stream is cut. They come when the block is full that completes them: smaller blocks come
    earlier.

    An analyzer is for one thread at a time; another one gets an `Error`. Different analyzers may
    work in different threads: Python's lock is free while the library works.

    Parameters
    ----------
    keys : str or iterable of str
        Names or aliases of `keys`.
    sample_rate : float
        In Hz, 1 to 768000.
    channels : int
        1 to 64.
    mix : {"mono", "keep"}
        ``"keep"``: each channel is analyzed. ``"mono"``: the mean of all channels is.
    block : int
        Samples of a block, 1 or more. It changes the results of ``"temporal properties"``, and of
        no other key.
    length : int
        Samples per channel that will come; 0: not known. Keys whose frames are delivered at the end
        (``"reasigned spectrum"``) need it.
    parameters : mapping of str to float
        By the names of `parameters` or of the attributes.

    Attributes
    ----------
    min_bpm, max_bpm, complexity, genre_hint, onset_sensitivity : float
        Parameters, see `parameters`. Set them before the first push: ``complexity`` works from the
        next `reset` on, and what was analyzed is not analyzed again.

    Raises
    ------
    Error
        With `STATUS_UNKNOWN` for an unknown key or parameter; with `STATUS_BAD_FORMAT` for a number
        out of its range.

    Examples
    --------
    >>> import numpy as np
    >>> with Analyzer("onset data", 44100) as analyzer:
    ...     for _ in range(10):
    ...         came = analyzer.push(np.zeros(4410, np.float32))
    ...     onsets = analyzer.finish()["onset data"]
    >>> len(onsets)
    0
    """

    # A misspelt parameter is an AttributeError.
    __slots__ = (
        "__weakref__",
        "_channels",
        "_input_channels",
        "_is_range_new",
        "_keys",
        "_sample_rate",
        "_session",
    )

    min_bpm = _ParameterAttribute("Min BPM")
    max_bpm = _ParameterAttribute("Max BPM")
    complexity = _ParameterAttribute("complexity")
    genre_hint = _ParameterAttribute("Genre Hint")
    onset_sensitivity = _ParameterAttribute("Onset Sensitivity")

    def __init__(
        self,
        keys: str | Iterable[str],
        sample_rate: float,
        channels: int = 1,
        *,
        mix: Literal["mono", "keep"] = "keep",
        block: int = 4096,
        length: int = 0,
        parameters: Mapping[str, float] = {},
    ) -> None:
        self._session: _core.Session | None = None
        self._is_range_new = False
        self._keys = tuple(canonical_list(keys))
        self._sample_rate = checked_rate(sample_rate)
        channels = checked_count(channels, "channels", 1, MOST_CHANNELS)
        length = checked_count(length, "length", 0, MOST_LENGTH)
        self._require_length(length)
        is_mono = checked_mix(mix)
        self._input_channels = channels
        self._channels = 1 if is_mono else channels
        size = checked_block(block, self._keys)
        chosen = checked_parameters(parameters, self._keys)
        self._session = _core.Session(
            list(self._keys), chosen, self._sample_rate, channels, is_mono, size, length
        )

    def _require_length(self, length: int) -> None:
        for name in self._keys:
            if length == 0 and key_table()[name].delivery == "frames at end":
                raise bad(f'"{name}" needs the length of the stream: pass length')

    @property
    def keys(self) -> tuple[str, ...]:
        """The keys that are analyzed."""
        return self._keys

    @property
    def sample_rate(self) -> float:
        """In Hz."""
        return self._sample_rate

    @property
    def channels(self) -> int:
        """Channels of what is pushed."""
        return self._input_channels

    @property
    def samples(self) -> int:
        """Samples per channel since the start of the stream."""
        return self._open().pushed

    @property
    def parameter_names(self) -> tuple[str, ...]:
        """The attributes that are parameters of the keys of this analyzer."""
        return tuple(parameter.attribute for parameter in parameters_of(self._keys))

    def push(self, samples: ArrayLike) -> Analysis:
        """Analyzes the next samples of the stream.

        Parameters
        ----------
        samples : array of shape (n,) or (channels, n)
            n may be 0. See `analyze` for the types.

        Returns
        -------
        Analysis
            The results that came, by key. Keys without new results are not in it.

        Raises
        ------
        Error
            With `STATUS_BAD_FORMAT` for a wrong type or shape, and for a `min_bpm` above
            `max_bpm`; with `STATUS_NOT_READY` after `finish`, and if another thread is using the analyzer.
        KeyboardInterrupt
            Within 100 ms. The rest of the samples is then not analyzed; the stream may go on with
            others. If ``block`` is above 4096, `reset` may be needed first.
        """
        session = self._open()
        self._require_range()
        array = as_samples(samples)
        if array.shape[0] != self._input_channels:
            is_turned = array.shape[1] == self._input_channels
            channels = counted(array.shape[0], "channel")
            raise bad(
                f"samples of the shape {array.shape} are {channels}, and the stream has "
                f"{self._input_channels}" + ("; pass the transpose, array.T" if is_turned else "")
            )
        session.push(array)
        return self._taken(session)

    def finish(self) -> Analysis:
        """Ends the stream.

        Returns
        -------
        Analysis
            The results since the last push, and those of the whole stream. `Analysis.missing` has
            the keys of the whole stream for which the audio has no result.

        Raises
        ------
        Error
            With `STATUS_NOT_READY` if the stream has ended already.
        KeyboardInterrupt
            Within 100 ms. The results of the end are lost; `reset` begins another stream.
        """
        session = self._open()
        status = session.finish()
        return self._taken(session, status=status, has_ended=True)

    def reset(self) -> None:
        """Begins another stream with the same setup. Results that were not taken are dropped."""
        self._open().reset()

    def close(self) -> None:
        """Gives the memory back. Results stay valid; the analyzer does not."""
        self._session = None

    def __enter__(self) -> Analyzer:
        return self

    def __exit__(
        self,
        kind: type[BaseException] | None,
        error: BaseException | None,
        trace: TracebackType | None,
    ) -> None:
        self.close()

    def __copy__(self) -> Analyzer:
        raise TypeError("an Analyzer is not copied: both would go on with the same stream")

    def __repr__(self) -> str:
        state = counted(self.samples, "sample") if self._session is not None else "closed"
        keys = shortened(", ".join(self._keys))
        return f"<Analyzer: {self._sample_rate:g} Hz, {keys}: {state}>"

    def _require_range(self) -> None:
        """Both ends may be set in any order: they are compared when samples come."""
        if self._is_range_new:
            require_order({name: self._open().parameter(name) for name in RANGE})
            self._is_range_new = False

    def _open(self) -> _core.Session:
        if self._session is None:
            raise Error("the analyzer is closed; make another one", STATUS_NOT_READY)
        return self._session

    def _taken(
        self, session: _core.Session, status: int = 0, has_ended: bool = False
    ) -> Analysis:
        return Analysis(
            session.take(has_ended),
            sample_rate=self._sample_rate,
            channels=self._channels,
            samples=session.pushed,
            status=status,
            has_ended=has_ended,
        )

    def _parameter(self, name: str) -> float:
        require_owner(parameter_named(name), self._keys)
        return self._open().parameter(name)

    def _set_parameter(self, name: str, value: float) -> None:
        parameter = parameter_named(name)
        require_owner(parameter, self._keys)
        self._open().set_parameter(name, checked_value(parameter, value))
        self._is_range_new = self._is_range_new or name in RANGE
