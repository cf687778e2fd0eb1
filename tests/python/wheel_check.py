"""Tries an installed wheel: script/wheel runs this in a fresh environment.

The arguments are the definitions that the wheel was built with.
"""

from __future__ import annotations

import sys
from pathlib import Path

import numpy as np

import qelaudio

definitions = sys.argv[1:]
tone = 0.5 * np.sin(2 * np.pi * 440 * np.arange(3 * 44100) / 44100)
analysis = qelaudio.analyze(tone, list(qelaudio.keys()), sample_rate=44100)
assert list(analysis) == list(qelaudio.keys())
# The bin of 440 Hz: 440 / (44100 / 1024) = 10.2.
assert np.abs(analysis["spectrum"].complex[0, 100]).argmax() == 10
loudness = qelaudio.read(tone, "loudness", sample_rate=44100).loudness
# A sine of amplitude 0.5 has peaks at 20 lg 0.5 = -6.02 dBFS.
assert loudness and loudness.sample_peak_dbfs and abs(loudness.sample_peak_dbfs + 6.02) < 0.01
assert qelaudio.fft_backend == ("fftw" if "-DQEL_FFT_BACKEND=fftw" in definitions else "kissfft")
package = Path(qelaudio.__file__).parent
assert (package / "py.typed").exists() and (package / "_core.pyi").exists()
licences = {path.name for path in (package / "licences").iterdir()}
assert {"nanobind.txt", "libebur128-1.txt", "libhwy1.txt", "libspeexdsp1.txt"} <= licences, licences
if "-DQEL_PYTHON_MEDIA=OFF" in definitions:
    try:
        qelaudio.read("song.flac")
    except qelaudio.FileError as error:
        assert error.fault == "no decoder" and "soundfile" in str(error), error
    else:
        raise AssertionError("a wheel without a decoder reads files")
print(f"wheel: qelaudio {qelaudio.__version__} works, {qelaudio.fft_backend}")
