"""What the tests of the Python package share."""

from __future__ import annotations

import json
import os
import subprocess
import wave
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from hypothesis import settings
from numpy.typing import NDArray

import qelaudio

# The suite must be the same in every run.
settings.register_profile("fixed", derandomize=True, deadline=None, max_examples=20)
settings.load_profile("fixed")

Samples = NDArray[np.float32]
IS_WHOLE = os.environ.get("QEL_TEST_WHOLE") == "1"


def music(rate: int, seconds: float, channels: int = 1) -> Samples:
    """Decaying notes of changing pitch over soft noise: every key has results of it."""
    random = np.random.default_rng(7)
    time = np.arange(round(rate * seconds)) / rate
    rows = []
    for channel in range(channels):
        beat = np.floor(time / 0.5)
        pitch = 220 * 2 ** (np.array([0, 4, 7, 12, 5, 9, 2, 7])[beat.astype(int) % 8] / 12)
        phase = 2 * np.pi * np.cumsum(pitch * (1 + 0.01 * channel)) / rate
        tone = sum(np.sin(k * phase) / k for k in range(1, 6)) * np.exp(-6 * (time % 0.5))
        bar = np.where(beat % 4 == 0, 1.0, 0.4)
        rows.append(0.3 * bar * tone + 0.003 * random.standard_normal(len(time)))
    return np.asarray(rows, np.float32)


def write_wav(path: Path, samples: Samples, rate: int) -> Path:
    """16-bit integers, as the samples must be that are compared."""
    integers = as_int16(samples)
    with wave.open(str(path), "wb") as file:
        file.setnchannels(len(samples))
        file.setsampwidth(2)
        file.setframerate(rate)
        file.writeframes(integers.T.tobytes())
    return path


def as_int16(samples: Samples) -> NDArray[np.int16]:
    return np.round(np.clip(samples, -1, 1) * 32767).astype("<i2")


def tool_json(path: Path, *options: str) -> dict[str, Any]:
    """What the tool says about a file."""
    tool = os.environ["QEL_TOOL"]
    text = subprocess.run(
        [tool, "analyze", str(path), "--quiet", *options], capture_output=True, check=True
    ).stdout
    entry: dict[str, Any] = json.loads(text)["files"][0]
    return entry


@pytest.fixture(scope="session")
def folder(tmp_path_factory: pytest.TempPathFactory) -> Path:
    return tmp_path_factory.mktemp("audio")
