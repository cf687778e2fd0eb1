"""Audio features for music.

>>> import qelaudio
>>> sorted(qelaudio.keys())[:2]
['audio range', 'beat data']

`analyze` computes keys of a file, an array or a stream of blocks. `Analyzer` does it while a stream
comes in. `read` gives musical answers. `report` and `plot_song`
show a song. `keys` and `parameters` list what there is.
"""

import atexit as _atexit

from qelaudio import _core
from qelaudio._analysis import Analysis
from qelaudio._analyze import analyze
from qelaudio._analyzer import Analyzer
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
from qelaudio._errors import (
    STATUS_BAD_FORMAT,
    STATUS_NO_METER,
    STATUS_NO_TEMPO,
    STATUS_NOT_READY,
    STATUS_UNKNOWN,
    Error,
    FileError,
)
from qelaudio._features import Events, Feature, Names, Partials, Result
from qelaudio._keys import Key, Parameter, Value, keys, parameters
from qelaudio._readings import read
from qelaudio._report import Report, report
from qelaudio._song_plot import plot_song

__version__ = _core.version
fft_backend: str = _core.backend
"""The transforms that this build computes with: ``"kissfft"`` or ``"fftw"``."""

__all__ = [
    "STATUS_BAD_FORMAT",
    "STATUS_NOT_READY",
    "STATUS_NO_METER",
    "STATUS_NO_TEMPO",
    "STATUS_UNKNOWN",
    "Analysis",
    "Analyzer",
    "Bandwidth",
    "Bars",
    "Beats",
    "Error",
    "Events",
    "Feature",
    "FileError",
    "Grid",
    "Key",
    "KeyAnswer",
    "KeySegment",
    "Loudness",
    "Mfcc",
    "MfccSettings",
    "MusicalKey",
    "Names",
    "Onsets",
    "Parameter",
    "Partials",
    "Pitch",
    "Readings",
    "Report",
    "Result",
    "RunningTempo",
    "Tempo",
    "Value",
    "analyze",
    "fft_backend",
    "keys",
    "parameters",
    "plot_song",
    "read",
    "report",
]

# Work that an interrupt has left to itself must not outlive the interpreter.
_atexit.register(_core.settle)
