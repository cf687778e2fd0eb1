"""The classes of the musical answers."""

from __future__ import annotations

import html
from dataclasses import dataclass, field, fields
from typing import TYPE_CHECKING, Any

import numpy as np
from numpy.typing import NDArray

from qelaudio._answer import Answer, Listed
from qelaudio._texts import counted

if TYPE_CHECKING:
    import pandas

Floats = NDArray[np.float32]
Times = NDArray[np.float64]


@dataclass(frozen=True)
class Tempo(Answer):
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
        0 to 1: the estimated chance that the answer is right.
    """

    bpm: float
    alternative_bpm: float
    is_steady: bool
    strength: float


@dataclass(frozen=True)
class Grid(Answer):
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
class Beats(Listed):
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

    _columns = ("times", "strengths", "positions")


@dataclass(frozen=True, eq=False)
class Bars(Answer):
    """The bars of the stream.

    Attributes
    ----------
    beats_per_bar : int
        2 to 7; 0: not known.
    strength : float
        0 to 1: the estimated chance that the answer is right.
    downbeats : array of float64, shape (bars,)
        Seconds to the first beat of each bar.
    """

    beats_per_bar: int
    strength: float
    downbeats: Times = field(repr=False)


@dataclass(frozen=True)
class MusicalKey(Answer):
    """One of 24 keys.

    Attributes
    ----------
    tonic : int
        Semitones above C, 0 to 11.
    is_minor : bool
    name : str
        ``"C major"``, ``"F# minor"``, ``"Bb major"``: the spelling with at most six
        sharps or flats.
    """

    tonic: int
    is_minor: bool
    name: str

    def __str__(self) -> str:
        return self.name


@dataclass(frozen=True)
class KeySegment(Answer):
    """A stretch of one key, from `begin` to `end` seconds."""

    begin: float
    end: float
    key: MusicalKey


@dataclass(frozen=True)
class KeyAnswer(Answer):
    """The key of the stream.

    Attributes
    ----------
    main, runner_up : MusicalKey
    strength : float
        0 to 1: the estimated chance that the answer is right. 0: no key was found, and `main` and
        `runner_up` mean nothing.
    segments : tuple of KeySegment
        They follow each other without gaps.
    """

    main: MusicalKey
    runner_up: MusicalKey
    strength: float
    segments: tuple[KeySegment, ...] = field(repr=False)


@dataclass(frozen=True, eq=False, repr=False)
class Onsets(Listed):
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

    _columns = ("times", "strengths")


@dataclass(frozen=True, eq=False, repr=False)
class Pitch(Listed):
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

    _columns = ("times", "frequencies", "strengths", "notes", "cents")

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
class Mfcc(Listed):
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

    _columns = ("values",)

    def to_pandas(self) -> pandas.DataFrame:
        """A table with one row for each frame.

        Returns
        -------
        pandas.DataFrame
            The columns are ``mfcc_0``, ``mfcc_1`` and so on.

        Raises
        ------
        ImportError
            If pandas is not installed.
        """
        import pandas

        return pandas.DataFrame({f"mfcc_{k}": column for k, column in enumerate(self.values.T)})


@dataclass(frozen=True)
class Loudness(Answer):
    """Loudness after EBU R 128. What does not exist is None: all of it for silence.

    Attributes
    ----------
    integrated_lufs, range_lu, true_peak_dbtp, sample_peak_dbfs : float or None
    momentary_lufs : array of float32, shape (hops,)
        Of the 0.4 s that end (i + 1) `momentary_hop_seconds` after the start of the stream, with
        silence before it; minus infinity for silence.
    momentary_hop_seconds : float
        0.1, to the nearest sample.

    Answers are equal if their single numbers are.
    """

    integrated_lufs: float | None
    range_lu: float | None
    true_peak_dbtp: float | None
    sample_peak_dbfs: float | None
    momentary_lufs: Floats = field(
        default_factory=lambda: np.empty(0, np.float32), repr=False, compare=False
    )
    momentary_hop_seconds: float = field(default=0.0, repr=False, compare=False)


@dataclass(frozen=True)
class Bandwidth(Answer):
    """Up to which frequency the sound reaches.

    Attributes
    ----------
    cutoff_hz : float or None
        None: no cut-off was found above a quarter of the sample rate.
    """

    cutoff_hz: float | None


@dataclass(frozen=True, eq=False, repr=False)
class RunningTempo(Listed):
    """The tempo from what was heard so far.

    Attributes
    ----------
    bpm : array of float32, shape (hops,)
        One per hop. NaN where no tempo is known, as in silence.
    hop_seconds : float
    """

    bpm: Floats = field(repr=False)
    hop_seconds: float

    _columns = ("bpm",)


@dataclass(frozen=True, eq=False, repr=False)
class Readings(Answer):
    """The readings that were asked for; the others are None.

    Attributes
    ----------
    seconds : float
        Length of the stream.
    sample_rate : float
        In Hz.
    channels : int
        Of the stream.
    channels_cancel : bool
        Two channels are of opposite phase: all readings but loudness are of the first.
    warnings : tuple of str
        What was wrong with the audio and did not end the reading.
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
    channels_cancel: bool = False
    warnings: tuple[str, ...] = ()

    def __repr__(self) -> str:
        answers = {name: getattr(self, name) for name in ANSWERS}
        there = ", ".join(name for name, answer in answers.items() if answer is not None)
        return f"<Readings: {self.seconds:.3f} s, {counted(self.channels, 'channel')}, {there}>"

    def to_pandas(self) -> pandas.DataFrame:
        """A table of one row: the single numbers and names of all answers.

        Lists are left out: `Beats.to_pandas` and others give theirs.

        Returns
        -------
        pandas.DataFrame
            The columns are named after answer and attribute: ``tempo_bpm``, ``key_main``.

        Raises
        ------
        ImportError
            If pandas is not installed.
        """
        import pandas

        row: dict[str, Any] = {name: getattr(self, name) for name in ("seconds", "sample_rate", "channels")}
        for name in ANSWERS:
            answer = getattr(self, name)
            for part in fields(answer) if answer is not None else ():
                value = getattr(answer, part.name)
                if value is None or isinstance(value, (bool, int, float, MusicalKey)):
                    row[f"{name}_{part.name}"] = str(value) if isinstance(value, MusicalKey) else value
        return pandas.DataFrame([row])

    def _repr_html_(self) -> str:
        """What a notebook shows."""
        texts = {row.name: getattr(self, row.name) for row in fields(self)}
        rows = "".join(
            f"<tr><th>{name}</th><td>{html.escape(str(value))}</td></tr>"
            for name, value in texts.items()
            if value is not None and value is not False and value != ()
        )
        return f"<table>{rows}</table>"


#: The attributes of `Readings` that are answers.
ANSWERS = tuple(row.name for row in fields(Readings) if row.default is None)
