"""Where samples come from: arrays, iterables of blocks, and files."""

from __future__ import annotations

import math
import os
from collections.abc import Iterable, Iterator
from dataclasses import dataclass
from typing import Any, Protocol

import numpy as np
from numpy.typing import ArrayLike, NDArray

from qelaudio._errors import STATUS_BAD_FORMAT, Error, FileError
from qelaudio._texts import counted

Source = str | os.PathLike[str] | ArrayLike | Iterable[ArrayLike]
Samples = NDArray[np.float32]

MOST_CHANNELS = 64
LOWEST_RATE = 1.0
HIGHEST_RATE = 768000.0
#: Samples of a file that are decoded before they are analyzed.
CHUNK_SAMPLES = 65536

NO_DECODER = (
    "this build of qelaudio cannot read files: build it where FFmpeg's development files are "
    '(pip install --no-binary qelaudio qelaudio), or decode the file elsewhere, for example with '
    'pip install "qelaudio[soundfile]", and pass the array'
)


def bad(message: str) -> Error:
    return Error(message, STATUS_BAD_FORMAT)


def checked_rate(sample_rate: float | None, what: str = "sample_rate") -> float:
    """A sample rate that the library takes.

    Raises
    ------
    Error
        With `STATUS_BAD_FORMAT` if it is missing or out of range.
    """
    if sample_rate is None:
        raise bad(f"{what} is missing: an array does not tell its own")
    try:
        rate = math.nan if isinstance(sample_rate, bool) else float(sample_rate)
    except (TypeError, ValueError, OverflowError):
        raise bad(f"{what} must be a number of Hz, not {sample_rate!r}") from None
    if not (math.isfinite(rate) and LOWEST_RATE <= rate <= HIGHEST_RATE):
        raise bad(f"{what} must be {LOWEST_RATE:g} to {HIGHEST_RATE:g} Hz, not {sample_rate!r}")
    return rate


def _scaled(array: NDArray[Any]) -> Samples:
    """Integers as fractions of full scale; other numbers rounded to float32."""
    kind, size = array.dtype.kind, array.dtype.itemsize
    if kind == "i" and size <= 4:
        return array.astype(np.float32) * np.float32(2.0 ** (1 - 8 * size))
    if kind == "u" and size == 1:
        return (array.astype(np.float32) - np.float32(128)) * np.float32(1 / 128)
    if kind == "f":
        return array.astype(np.float32)
    raise bad(
        f"samples of type {array.dtype}; float32, float64, float16, int8, int16, int32 and uint8 "
        "are accepted"
    )


def _is_ready(array: NDArray[Any]) -> bool:
    is_float = array.dtype == np.float32 and array.dtype.isnative and array.flags.aligned
    is_dense = array.shape[1] < 2 or array.strides[1] == array.itemsize
    has_whole_rows = array.shape[0] < 2 or array.strides[0] % array.itemsize == 0
    return bool(is_float and is_dense and has_whole_rows)


def checked_count(count: Any, what: str, least: int, most: int) -> int:
    """A whole number from least to most.

    Raises
    ------
    Error
        With `STATUS_BAD_FORMAT` for anything else.
    """
    if isinstance(count, bool) or not hasattr(count, "__index__"):
        raise bad(f"{what} must be a whole number, not {count!r}")
    number: int = count.__index__()
    if not least <= number <= most:
        raise bad(f"{what} must be {least} to {most}, not {number}")
    return number


def _about(audio: Any) -> str:
    """What came instead of samples, and what may help."""
    if isinstance(audio, bytes):
        return "bytes; a path is passed as str or pathlib.Path: os.fsdecode(path)"
    if isinstance(audio, (int, float, np.number)):
        return "a single number; of a pair (samples, sample rate) pass both by themselves"
    return f"an object of type {type(audio).__name__}"


def as_samples(audio: Any) -> Samples:
    """Samples as the modules take them: float32, shape (channels, n), rows without gaps.

    What is like that already is not copied.

    Raises
    ------
    Error
        With `STATUS_BAD_FORMAT` for a type or shape that is no audio.
    """
    if np.ma.isMaskedArray(audio):
        raise bad("a masked array; pass array.filled(0), or whatever stands for its gaps")
    try:
        array = np.asarray(audio)
    except (ValueError, TypeError) as error:
        raise bad(f"no array of samples: {error}") from None
    if array.ndim == 0:
        raise bad(f"no array of samples, but {_about(audio)}")
    if array.ndim not in (1, 2):
        raise bad(f"samples of the shape {array.shape}; (n,) and (channels, n) are accepted")
    rows = array[np.newaxis, :] if array.ndim == 1 else array
    if not 1 <= rows.shape[0] <= MOST_CHANNELS:
        hint = "; pass array.T" if 1 <= rows.shape[1] <= MOST_CHANNELS else ""
        raise bad(
            f"samples of the shape {array.shape} would be {rows.shape[0]} channels, and 1 to "
            f"{MOST_CHANNELS} are accepted, as (channels, n){hint}"
        )
    if _is_ready(rows):
        return rows
    return np.ascontiguousarray(_scaled(rows))


def as_channels(audio: Any) -> Samples:
    """Samples of which nobody has told the number of channels, as `as_samples` gives them.

    Raises
    ------
    Error
        Also for more channels than samples: frames by channels, as some packages have it.
    """
    samples = as_samples(audio)
    channels, count = samples.shape
    if 0 < count < channels:
        raise bad(
            f"samples of the shape {samples.shape} would be {channels} channels of {count} samples; "
            "the shape is (channels, n): pass the transpose, array.T"
        )
    return samples


class Stream(Protocol):
    """Samples that come one chunk after the other."""

    @property
    def sample_rate(self) -> float:
        """In Hz."""

    @property
    def channels(self) -> int:
        """Of every chunk."""

    @property
    def length(self) -> int:
        """Samples per channel, as far as is known without work; 0: not known."""

    def exact_length(self) -> int:
        """The length, whatever it takes to know it."""

    def chunks(self) -> Iterator[Samples]:
        """The samples, once."""

    def warnings(self) -> tuple[str, ...]:
        """What was wrong and did not end the stream, one line each."""


@dataclass
class ArrayStream:
    """A whole array."""

    samples: Samples
    sample_rate: float

    @property
    def channels(self) -> int:
        return int(self.samples.shape[0])

    @property
    def length(self) -> int:
        return int(self.samples.shape[1])

    def exact_length(self) -> int:
        return self.length

    def chunks(self) -> Iterator[Samples]:
        yield self.samples

    def warnings(self) -> tuple[str, ...]:
        return ()


class BlockStream:
    """An iterable of arrays; the first one sets the number of channels."""

    length = 0

    def __init__(self, blocks: Iterable[Any], sample_rate: float) -> None:
        self.sample_rate = sample_rate
        self._blocks = iter(blocks)
        self._first = [as_channels(block) for block in self._taken(1)]
        if not self._first:
            raise bad("no blocks of samples in the iterable")
        self.channels = int(self._first[0].shape[0])

    def _taken(self, count: int) -> Iterator[Any]:
        for _ in range(count):
            yield from next(([block] for block in self._blocks), [])

    def exact_length(self) -> int:
        """Keeps all blocks, as only their end tells it."""
        self._first = list(self.chunks())
        return sum(int(block.shape[1]) for block in self._first)

    def chunks(self) -> Iterator[Samples]:
        yield from self._first
        self._first = []
        for block in self._blocks:
            samples = as_samples(block)
            if samples.shape[0] != self.channels:
                channels = counted(samples.shape[0], "channel")
                raise bad(f"a block of {channels} after blocks of {self.channels}")
            yield samples

    def warnings(self) -> tuple[str, ...]:
        return ()


class FileStream:
    """A file, by the decoder of the tool `qel`."""

    def __init__(self, path: str | os.PathLike[str], *, mix: bool, block: int) -> None:
        try:
            from qelaudio import _media
        except ImportError as error:
            missing = f" ({error})" if "lib" in str(error) else ""
            raise FileError(path, NO_DECODER + missing, "no decoder") from None
        self._media = _media
        self._path = os.fsencode(path)
        if b"\0" in self._path:
            raise FileError(path, "no file has a zero byte in its name", "unreadable")
        self._reader = _media.Reader(self._path, mix, block)
        self._blocks = max(1, CHUNK_SAMPLES // block)
        self.sample_rate = checked_rate(self._reader.sample_rate, f"{os.fspath(path)}: sample rate")
        self.channels = self._reader.channels
        self.length = max(0, self._reader.expected_frames)

    def exact_length(self) -> int:
        """Decodes the file once more: what it states is but a hint."""
        return self._media.count_frames(self._path)

    def chunks(self) -> Iterator[Samples]:
        while (samples := self._reader.read(self._blocks)).shape[1]:
            yield samples

    def warnings(self) -> tuple[str, ...]:
        return tuple(self._reader.warnings)


def _is_block_iterable(source: Any) -> bool:
    """An iterable that is no array and does not become one of numbers."""
    if hasattr(source, "__array__") or isinstance(source, (list, tuple)):
        # A list of numbers is an array; a list of arrays of any length each is one of blocks.
        return isinstance(source, (list, tuple)) and any(
            hasattr(part, "__array__") and np.ndim(part) > 0 for part in source
        )
    return isinstance(source, Iterable) and not isinstance(source, (bytes, bytearray, memoryview))


def open_stream(source: Any, sample_rate: float | None, *, mix: bool, block: int) -> Stream:
    """The stream of any source.

    Raises
    ------
    Error
        For a source, a rate or a shape that is not accepted; `FileError` for files.
    """
    if isinstance(source, (str, os.PathLike)):
        file = FileStream(source, mix=mix, block=block)
        if sample_rate is not None and checked_rate(sample_rate) != file.sample_rate:
            raise bad(
                f"{os.fspath(source)} has {file.sample_rate:g} Hz, not {float(sample_rate):g}; "
                "leave sample_rate out, or resample elsewhere"
            )
        return file
    rate = checked_rate(sample_rate)
    if _is_block_iterable(source):
        return BlockStream(source, rate)
    return ArrayStream(as_channels(source), rate)
