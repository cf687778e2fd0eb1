"""The systems that are measured. Each is a class with

    name, version       strings; results are kept by both, so a changed system needs a new version
    analyze(path, wants)  the answers that `wants` names and the system has, of one sound file

The answers are `tempo` (BPM), `beats`, `downbeats`, `onsets` (seconds), `beats_per_bar`, `key` ("C# minor",
sharps only) and `f0` ({"times": seconds, "hz": Hz}; 0 or below where nothing is voiced). None says that there is
none; an answer that a system never gives is left out. The worker adds the CPU seconds.

A class of one's own is given as FILE.py:CLASS. Modules import what they measure inside of the class, so that
they can be listed without it.
"""

import sys

# name: (module, class, interpreter). Debian's bindings work with Debian's interpreter alone.
SYSTEMS = {
    "readings": ("bench.truth.systems.readings", "Readings", sys.executable),
    "readings-guess": ("bench.truth.systems.readings", "GuessingReadings", sys.executable),
    "keys": ("bench.truth.systems.raw_keys", "RawKeys", sys.executable),
    "keys-shifted": ("bench.truth.systems.raw_keys", "ShiftedKeys", sys.executable),
    "librosa": ("bench.truth.systems.librosa_system", "Librosa", sys.executable),
    "essentia": ("bench.truth.systems.essentia_system", "Essentia", sys.executable),
    "aubio": ("bench.truth.systems.aubio_system", "Aubio", "/usr/bin/python3"),
    "qm-dsp": ("bench.truth.systems.qm_dsp_system", "QmDsp", sys.executable),
}

# Not among the compared systems.
OTHERS = {"readings-strengths": ("bench.truth.systems.readings", "SureReadings", sys.executable)}


def interpreter_of(name):
    return SYSTEMS[name][2] if name in SYSTEMS else sys.executable


def with_sharps(key):
    """The name of a key as the truth has it; None for none."""
    flats = {"Db": "C#", "Eb": "D#", "Gb": "F#", "Ab": "G#", "Bb": "A#"}
    tonic, _, mode = (key or "").partition(" ")
    return f"{flats.get(tonic, tonic)} {mode}" if key else None
