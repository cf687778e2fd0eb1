"""Musical answers: tempo, beats, bars, key, onsets, pitch, timbre, loudness and bandwidth."""

from __future__ import annotations

from collections.abc import Iterable
from dataclasses import asdict
from typing import Any

from qelaudio import _core
from qelaudio._analyze import Progress, Ticks
from qelaudio._answers import (
    Bandwidth,
    Bars,
    Beats,
    Grid,
    KeyAnswer,
    KeySegment,
    Loudness,
    Mfcc,
    MfccSettings,
    MusicalKey,
    Onsets,
    Pitch,
    Readings,
    RunningTempo,
    Tempo,
)
from qelaudio._errors import STATUS_UNKNOWN, Error
from qelaudio._sources import Source, bad, open_stream

LOWEST_RATE = 8000.0


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
        channels_cancel=plain.pop("channels_cancel"),
        warnings=stream.warnings() + tuple(plain.pop("warnings")),
        **{name: _MAKERS[name](answer) for name, answer in plain.items()},
    )
