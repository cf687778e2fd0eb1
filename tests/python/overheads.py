"""Measures what the Python package adds, and prints it. Run it on a quiet machine:

    script/build release --target qel_kept_probe -DQEL_BUILD_BENCH=ON
    PYTHONPATH=build/release/python .venv/bin/python tests/python/overheads.py

Times are of the processor where nothing else is said.
"""

from __future__ import annotations

import json
import math
import subprocess
import sys
import tempfile
import threading
import time
from collections.abc import Callable
from pathlib import Path

import numpy as np
from conftest import music, write_wav

import qelaudio

RATE = 44100
PER_FRAME = [name for name, key in qelaudio.keys().items() if key.delivery == "per frame"]


def best(call: Callable[[], object], clock: Callable[[], float], count: int = 5) -> float:
    """Seconds of the quickest of some calls."""
    times = []
    for _ in range(count):
        start = clock()
        call()
        times.append(clock() - start)
    return min(times)


def minute(folder: Path, probe: Path) -> None:
    """The package and the C++ client take turns."""
    audio = np.tile(music(RATE, 4)[0], 15)
    path = folder / "minute.f32"
    audio.tofile(path)
    python, dropped, kept = math.inf, math.inf, math.inf
    for _ in range(5):
        taken = best(lambda: qelaudio.analyze(audio, PER_FRAME, sample_rate=RATE), time.process_time, 3)
        printed = subprocess.run([probe, "3", path, *PER_FRAME], capture_output=True, check=True)
        client = json.loads(printed.stdout)
        python = min(python, taken)
        dropped, kept = min(dropped, client["dropped"]), min(kept, client["kept"])
    print(
        f"all keys per frame of one minute: {python:.3f} s; by the C++ client {dropped:.3f} s if it "
        f"drops the results ({python / dropped - 1:+.0%}), {kept:.3f} s if it keeps them "
        f"({python / kept - 1:+.0%})"
    )


def tenth() -> None:
    audio = music(RATE, 0.1)[0]
    taken = best(lambda: qelaudio.analyze(audio, "mfcc", sample_rate=RATE), time.perf_counter, 50)
    print(f'"mfcc" of 0.1 s: {1e3 * taken:.2f} ms of the clock')


def imports() -> None:
    program = "import time, numpy; t = time.process_time(); import qelaudio; print(time.process_time() - t)"
    command = [sys.executable, "-c", program]
    taken = min(float(subprocess.run(command, capture_output=True).stdout) for _ in range(5))
    print(f"import after NumPy's: {1e3 * taken:.0f} ms")


def two_threads(path: Path) -> None:
    def work() -> None:
        qelaudio.analyze(path, PER_FRAME)

    def one_by_one() -> None:
        work()
        work()

    def both() -> None:
        threads = [threading.Thread(target=work) for _ in range(2)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()

    one = best(one_by_one, time.perf_counter, 3)
    two = best(both, time.perf_counter, 3)
    print(f"two files: {one:.2f} s in one thread, {two:.2f} s in two: {two / one:.2f} (clock)")


if __name__ == "__main__":
    imports()
    tenth()
    with tempfile.TemporaryDirectory() as folder:
        minute(Path(folder), Path(qelaudio.__file__).parents[2] / "bin/qel_kept_probe")
        two_threads(write_wav(Path(folder) / "minute.wav", np.tile(music(RATE, 4), 15), RATE))
