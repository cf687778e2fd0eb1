"""The one call."""

from __future__ import annotations

from collections.abc import Callable, Iterable, Mapping
from typing import Literal

from qelaudio import _core
from qelaudio._analysis import Analysis
from qelaudio._keys import canonical_list
from qelaudio._keys import keys as key_table
from qelaudio._parameters import checked_parameters
from qelaudio._sources import Source, Stream, bad, open_stream

Progress = Callable[[str, float], object]

MOST_BLOCK = 1 << 24
#: The library's count of samples.
MOST_LENGTH = (1 << 32) - 1


def checked_block(block: int, names: Iterable[str]) -> int:
    """A size of blocks that all keys take.

    Raises
    ------
    Error
        With `STATUS_BAD_FORMAT` for any other size.
    """
    if isinstance(block, bool) or not hasattr(block, "__index__"):
        raise bad(f"block must be a whole number of samples, not {block!r}")
    size = block.__index__()
    if not 1 <= size <= MOST_BLOCK:
        raise bad(f"block must be 1 to {MOST_BLOCK} samples, not {size}")
    for name in names:
        multiple = key_table()[name].push_multiple
        if size % multiple:
            raise bad(f'block must be a multiple of {multiple} for "{name}", not {size}')
    return size


def checked_mix(mix: str) -> bool:
    if mix not in ("mono", "keep"):
        raise bad(f'mix must be "mono" or "keep", not {mix!r}')
    return mix == "mono"


def _length(stream: Stream, names: list[str]) -> int:
    """Keys that deliver frames at the end keep those of the declared length alone."""
    must_know = any(key_table()[name].delivery == "frames at end" for name in names)
    length = stream.exact_length() if must_know else stream.length
    return length if length <= MOST_LENGTH else 0


class Ticks:
    """Tells of a stream's progress: what the modules call is `tick` or None."""

    def __init__(self, progress: Progress | None, length: int) -> None:
        self._progress = progress
        self._length = length
        self.before = 0

    def _pushed(self, done: int) -> None:
        if self._progress is not None and self._length:
            self._progress("analyze", min(1.0, (self.before + done) / self._length))

    def _finished(self, percent: float) -> None:
        if self._progress is not None:
            self._progress("finish", percent / 100)

    @property
    def push(self) -> Callable[[int], None] | None:
        return self._pushed if self._progress is not None else None

    @property
    def finish(self) -> Callable[[float], None] | None:
        return self._finished if self._progress is not None else None

    def advance(self, samples: int) -> None:
        self.before += samples
        self._pushed(0)


def analyze(
    source: Source,
    keys: str | Iterable[str],
    *,
    sample_rate: float | None = None,
    mix: Literal["mono", "keep"] = "mono",
    block: int = 4096,
    parameters: Mapping[str, float] = {},
    progress: Progress | None = None,
) -> Analysis:
    """Computes keys of a file, an array or a stream of blocks.

    Parameters
    ----------
    source : path, array of shape (n,) or (channels, n), or iterable of such arrays
        Files are decoded as the tool ``qel`` decodes them, at their own rate. Of arrays, float32 is
        taken as it is; rows whose samples are neighbours are not copied. float64 and float16 are
        rounded to float32. Integers are fractions of full scale: int16 is divided by 32768, int8
        and int32 likewise; uint8 has its zero at 128. Blocks of an iterable may have any lengths;
        a list of arrays is such an iterable, and no array of channels. An array, or a first block,
        with more channels than samples is refused: it is likely the transpose.
    keys : str or iterable of str
        Names or aliases of `keys`, in any order. Readings, as ``"loudness"`` or ``"pitch"``, are no
        keys: `read` has them.
    sample_rate : float, optional
        In Hz, 1 to 768000. Needed for arrays and blocks. A file has its own: there it is only
        compared.
    mix : {"mono", "keep"}
        ``"mono"``: the mean of all channels is analyzed. ``"keep"``: each channel is.
    block : int
        Samples of a block, 1 or more. It changes the results of ``"temporal properties"``, and of
        no other key.
    parameters : mapping of str to float
        By the names of `parameters` or of the attributes of `Analyzer`.
    progress : callable, optional
        Called about 20 times per second with a stage and a fraction from 0 to 1: ``"analyze"``
        where the length of the stream is known, then ``"finish"``, which can start anew for each
        group of keys. What it raises ends the call.

    Returns
    -------
    Analysis
        Maps each key to its `Feature`, `Events`, `Names` or `Partials`. Audio shorter than a frame
        has no frames: the axis is then 0 long. Keys of the whole stream
        for which the audio has no result are in `Analysis.missing`.

    Raises
    ------
    Error
        With `STATUS_UNKNOWN` for an unknown key or parameter; with `STATUS_BAD_FORMAT` for audio
        or an argument that does not fit.
    FileError
        For a file that cannot be read.

    Examples
    --------
    >>> import numpy as np, qelaudio
    >>> tone = 0.5 * np.sin(2 * np.pi * 440 * np.arange(44100) / 44100)
    >>> flux = qelaudio.analyze(tone, "spectrum flux properties", sample_rate=44100)
    >>> flux["spectrum flux properties"]["spectrum flux"].shape
    (1, 85)
    """
    names = canonical_list(keys)
    is_mono = checked_mix(mix)
    size = checked_block(block, names)
    chosen = checked_parameters(parameters, names)
    stream = open_stream(source, sample_rate, mix=is_mono, block=size)
    length = _length(stream, names)
    session = _core.Session(names, chosen, stream.sample_rate, stream.channels, is_mono, size, length)
    ticks = Ticks(progress, length)
    for samples in stream.chunks():
        session.push(samples, ticks.push)
        ticks.advance(samples.shape[1])
    if session.pushed == 0:
        raise bad("the audio has no samples")
    status = session.finish(ticks.finish)
    return Analysis(
        session.take(True),
        sample_rate=stream.sample_rate,
        channels=1 if is_mono else stream.channels,
        samples=session.pushed,
        status=status,
        has_ended=True,
        warnings=stream.warnings(),
    )
