"""Musical answers: tempo, beats, bars, key, onsets, pitch, timbre, loudness and bandwidth."""

from __future__ import annotations

import html
from collections.abc import Iterable
from dataclasses import asdict, dataclass, field, fields
from typing import Any

import numpy as np
from numpy.typing import NDArray

from qelaudio import _core
from qelaudio._analyze import Progress, Ticks
from qelaudio._errors import STATUS_UNKNOWN, Error
from qelaudio._sources import Source, bad, open_stream

Floats = NDArray[np.float32]
Times = NDArray[np.float64]

LOWEST_RATE = 8000.0


class _Listed:
    """A list: its text tells how long it is."""

    def __repr__(self) -> str:
        shown = [f"{len(self)} entries"]  # type: ignore[arg-type]
        for row in fields(self):  # type: ignore[arg-type]
            if row.repr:
                shown.append(f"{row.name}={getattr(self, row.name)!r}")
        return f"{type(self).__name__}({', '.join(shown)})"


@dataclass(frozen=True)
class Tempo:
    """The tempo of the whole stream.

    Attributes
    ----------
    bpm : float
        Beats per minute; 0: nothing was found.
    alternative_bpm : float
        Half, double, a third or three times `bpm`, whichever is the next best; 0: none.
    is_steady : bool
        False: there is no steady tempo, and `bpm` is the best guess.
    strength : float
        0 to 1: the share of such answers that are right.
    """

    bpm: float
    alternative_bpm: float
    is_steady: bool
    strength: float


@dataclass(frozen=True)
class Grid:
    """Beats at equal distances.

    Attributes
    ----------
    first : float
        Seconds to the first beat.
    bpm : float
        Beats per minute.
    """

    first: float
    bpm: float


@dataclass(frozen=True, eq=False, repr=False)
class Beats(_Listed):
    """The beats of the stream.

    Attributes
    ----------
    times : array of float64, shape (beats,)
        Seconds, on the attack.
    strengths : array of float32, shape (beats,)
        Onset strength there, 0 to 1; 1 is a stroke out of silence.
    positions : array of int32, shape (beats,)
        Position within the bar, from 1; 0: bars were not asked for, or are not known.
    grid : Grid or None
        Where the tempo is steady.
    """

    times: Times = field(repr=False)
    strengths: Floats = field(repr=False)
    positions: NDArray[np.int32] = field(repr=False)
    grid: Grid | None

    def __len__(self) -> int:
        return len(self.times)


@dataclass(frozen=True, eq=False)
class Bars:
    """The bars of the stream.

    Attributes
    ----------
    beats_per_bar : int
        2 to 7; 0: not known.
    strength : float
        0 to 1: the share of such answers that are right.
    downbeats : array of float64, shape (bars,)
        Seconds to the first beat of each bar.
    """

    beats_per_bar: int
    strength: float
    downbeats: Times = field(repr=False)


@dataclass(frozen=True)
class MusicalKey:
    """One of 24 keys.

    Attributes
    ----------
    tonic : int
        Semitones above C, 0 to 11.
    is_minor : bool
    name : str
        ``"C major"``, ``"F# minor"``.
    """

    tonic: int
    is_minor: bool
    name: str

    def __str__(self) -> str:
        return self.name


@dataclass(frozen=True)
class KeySegment:
    """A stretch of one key, from `begin` to `end` seconds."""

    begin: float
    end: float
    key: MusicalKey


@dataclass(frozen=True)
class KeyAnswer:
    """The key of the stream.

    Attributes
    ----------
    main, runner_up : MusicalKey
    strength : float
        0 to 1: the share of such answers that are right. 0: no key was found, and `main` and
        `runner_up` mean nothing.
    segments : tuple of KeySegment
        They follow each other without gaps.
    """

    main: MusicalKey
    runner_up: MusicalKey
    strength: float
    segments: tuple[KeySegment, ...] = field(repr=False)


@dataclass(frozen=True, eq=False, repr=False)
class Onsets(_Listed):
    """Moments at which notes and strokes begin.

    Attributes
    ----------
    times : array of float64, shape (onsets,)
        Seconds.
    strengths : array of float32, shape (onsets,)
        0 to 1: an estimate of the chance that the onset is right.
    """

    times: Times = field(repr=False)
    strengths: Floats = field(repr=False)

    def __len__(self) -> int:
        return len(self.times)


@dataclass(frozen=True, eq=False, repr=False)
class Pitch(_Listed):
    """The fundamental frequency of one voice, per frame.

    Attributes
    ----------
    times : array of float64, shape (frames,)
        Seconds to the middle of the frame.
    frequencies : array of float32, shape (frames,)
        In Hz; 0: not voiced.
    strengths : array of float32, shape (frames,)
        0 to 1.
    notes : array of int32, shape (frames,)
        The nearest note as a MIDI number, 69 is A at 440 Hz; -1: not voiced.
    cents : array of float32, shape (frames,)
        Deviation from that note, -50 to 50; 0: not voiced.
    """

    times: Times = field(repr=False)
    frequencies: Floats = field(repr=False)
    strengths: Floats = field(repr=False)
    notes: NDArray[np.int32] = field(repr=False)
    cents: Floats = field(repr=False)

    def __len__(self) -> int:
        return len(self.times)

    @property
    def is_voiced(self) -> NDArray[np.bool_]:
        """Which frames have a pitch."""
        return self.frequencies > 0


@dataclass(frozen=True)
class MfccSettings:
    """Settings of the mel-frequency cepstral coefficients. Names and meanings are librosa's.

    Attributes
    ----------
    n_mfcc, n_mels : int
        Coefficients and mel bands.
    fmin, fmax : float
        In Hz; fmax 0: half the sample rate, at most 16000.
    htk : bool
        The formula of the mel scale.
    lifter : float
        0: none.
    top_db : float
        In dB; infinity: no limit.
    """

    n_mfcc: int = 13
    n_mels: int = 40
    fmin: float = 0.0
    fmax: float = 0.0
    htk: bool = False
    lifter: float = 0.0
    top_db: float = 80.0


@dataclass(frozen=True, eq=False, repr=False)
class Mfcc(_Listed):
    """Mel-frequency cepstral coefficients, per frame.

    Attributes
    ----------
    values : array of float32, shape (frames, n_mfcc)
    frame_seconds, hop_seconds : float
        Length of a frame, and from one frame to the next.
    """

    values: Floats = field(repr=False)
    frame_seconds: float
    hop_seconds: float

    def __len__(self) -> int:
        return len(self.values)


@dataclass(frozen=True)
class Loudness:
    """Loudness after EBU R 128. What does not exist is None: all of it for silence.

    Attributes
    ----------
    integrated_lufs, range_lu, true_peak_dbtp, sample_peak_dbfs : float or None
    """

    integrated_lufs: float | None
    range_lu: float | None
    true_peak_dbtp: float | None
    sample_peak_dbfs: float | None


@dataclass(frozen=True)
class Bandwidth:
    """Up to which frequency the sound reaches.

    Attributes
    ----------
    cutoff_hz : float or None
        None: no cut-off was found above a quarter of the sample rate.
    """

    cutoff_hz: float | None


@dataclass(frozen=True, eq=False, repr=False)
class RunningTempo(_Listed):
    """The tempo from what was heard so far.

    Attributes
    ----------
    bpm : array of float32, shape (hops,)
        One per hop.
    hop_seconds : float
    """

    bpm: Floats = field(repr=False)
    hop_seconds: float

    def __len__(self) -> int:
        return len(self.bpm)


@dataclass(frozen=True, eq=False)
class Readings:
    """The readings that were asked for; the others are None.

    Attributes
    ----------
    seconds : float
        Length of the stream.
    sample_rate : float
        In Hz.
    channels : int
        Of the stream.
    warnings : tuple of str
        What was wrong with a file and did not end the reading.
    """

    seconds: float
    sample_rate: float
    channels: int
    tempo: Tempo | None = None
    beats: Beats | None = None
    bars: Bars | None = None
    key: KeyAnswer | None = None
    onsets: Onsets | None = None
    pitch: Pitch | None = None
    mfcc: Mfcc | None = None
    loudness: Loudness | None = None
    bandwidth: Bandwidth | None = None
    running_tempo: RunningTempo | None = None
    warnings: tuple[str, ...] = ()

    def _repr_html_(self) -> str:
        """What a notebook shows."""
        texts = {row.name: getattr(self, row.name) for row in fields(self)}
        rows = "".join(
            f"<tr><th>{name}</th><td>{html.escape(str(value))}</td></tr>"
            for name, value in texts.items()
            if value is not None and value != ()
        )
        return f"<table>{rows}</table>"


def _beats(plain: dict[str, Any]) -> Beats:
    first, bpm = plain.pop("grid_first"), plain.pop("grid_bpm")
    return Beats(**plain, grid=None if first is None else Grid(first, bpm))


def _key(plain: dict[str, Any]) -> KeyAnswer:
    segments = (
        KeySegment(begin, end, MusicalKey(*key)) for begin, end, key in plain.pop("segments")
    )
    main, runner_up = MusicalKey(*plain.pop("main")), MusicalKey(*plain.pop("runner_up"))
    return KeyAnswer(main, runner_up, plain["strength"], tuple(segments))


_MAKERS: dict[str, Any] = {
    "tempo": lambda plain: Tempo(**plain),
    "beats": _beats,
    "bars": lambda plain: Bars(**plain),
    "key": _key,
    "onsets": lambda plain: Onsets(**plain),
    "pitch": lambda plain: Pitch(**plain),
    "mfcc": lambda plain: Mfcc(**plain),
    "loudness": lambda plain: Loudness(**plain),
    "bandwidth": lambda plain: Bandwidth(**plain),
    "running_tempo": lambda plain: RunningTempo(**plain),
}


def _chosen(readings: str | Iterable[str] | None) -> list[str]:
    known = _core.reading_names()
    if readings is None:
        return known
    chosen = [readings] if isinstance(readings, str) else list(readings)
    for name in chosen:
        if name not in known:
            raise Error(f'unknown reading "{name}"; there are {", ".join(known)}', STATUS_UNKNOWN)
    if not chosen:
        raise Error(f"no readings; there are {', '.join(known)}", STATUS_UNKNOWN)
    return chosen


def _numbers(settings: MfccSettings) -> dict[str, float]:
    if not (settings.n_mfcc >= 1 and settings.n_mels >= 1):
        raise bad("n_mfcc and n_mels must be 1 or more")
    return {name: float(value) for name, value in asdict(settings).items()}


def read(
    source: Source,
    readings: str | Iterable[str] | None = None,
    *,
    sample_rate: float | None = None,
    mfcc: MfccSettings = MfccSettings(),
    progress: Progress | None = None,
) -> Readings:
    """Reads musical answers from a file, an array or a stream of blocks.

    Parameters
    ----------
    source : path, array of shape (n,) or (channels, n), or iterable of such arrays
        As for `analyze`. Several channels are mixed to their mean for all readings but the loudness.
    readings : str or iterable of str, optional
        Which ones: ``"tempo"``, ``"beats"``, ``"bars"``, ``"key"``, ``"onsets"``, ``"pitch"``,
        ``"mfcc"``, ``"loudness"``, ``"bandwidth"``, ``"running_tempo"``. All by default. Each costs
        only the keys it needs.
    sample_rate : float, optional
        In Hz, 8000 to 768000. Needed for arrays and blocks.
    mfcc : MfccSettings
        Settings of ``"mfcc"``.
    progress : callable, optional
        As for `analyze`; the stage is ``"analyze"`` alone.

    Returns
    -------
    Readings

    Raises
    ------
    Error
        With `STATUS_UNKNOWN` for an unknown reading; with `STATUS_BAD_FORMAT` for audio or an
        argument that does not fit.
    FileError
        For a file that cannot be read.

    Examples
    --------
    >>> import numpy as np, qelaudio
    >>> tone = 0.5 * np.sin(2 * np.pi * 440 * np.arange(44100) / 44100)
    >>> qelaudio.read(tone, "loudness", sample_rate=44100).loudness.sample_peak_dbfs.__round__(1)
    -6.0
    """
    chosen = _chosen(readings)
    settings = _numbers(mfcc)
    stream = open_stream(source, sample_rate, mix=False, block=4096)
    if stream.sample_rate < LOWEST_RATE:
        raise bad(f"sample_rate must be {LOWEST_RATE:g} Hz or more, not {stream.sample_rate:g}")
    try:
        session = _core.ReadingSession(
            chosen, stream.sample_rate, stream.channels, stream.length, settings
        )
    except ValueError as error:
        raise bad(str(error)) from None
    ticks = Ticks(progress, stream.length)
    for samples in stream.chunks():
        session.push(samples, ticks.push)
        ticks.advance(samples.shape[1])
    if ticks.before == 0:
        raise bad("the audio has no samples")
    plain: dict[str, Any] = session.finish()
    return Readings(
        seconds=plain.pop("seconds"),
        sample_rate=stream.sample_rate,
        channels=stream.channels,
        warnings=stream.warnings(),
        **{name: _MAKERS[name](answer) for name, answer in plain.items()},
    )
