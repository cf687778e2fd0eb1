"""Small corpora for tests: short sounds, files with faults, and odd names."""

from __future__ import annotations

import os
from pathlib import Path
from typing import Any

from conftest import music, write_wav
from distributed import LocalCluster

RATE = 22050


def open_cluster(threads: int = 2) -> Any:
    """A cluster behind a socket. Threads of this process are enough: the tool has processes of its own."""
    return LocalCluster(
        n_workers=1, threads_per_worker=threads, processes=False, protocol="tcp", host="127.0.0.1",
        dashboard_address=":0",
    )  # fmt: skip


def make_music(folder: Path, count: int = 3) -> Path:
    """Songs of 5 to 7 seconds, each of its own content, in two folders."""
    samples = music(RATE, 30)
    for number in range(count):
        path = folder / f"album {number % 2}" / f"song {number}.wav"
        path.parent.mkdir(parents=True, exist_ok=True)
        begin = number * RATE // 4
        write_wav(path, samples[:, begin : begin + RATE * (5 + number % 3)], RATE)
    return folder


def add_faults(folder: Path) -> None:
    """One file of each fault, and names that are no UTF-8."""
    (folder / "not audio.wav").write_bytes(b"no audio at all")
    (folder / "empty.flac").write_bytes(b"")
    whole = (folder / "album 0" / "song 0.wav").read_bytes()
    (folder / "cut.wav").write_bytes(whole[: len(whole) // 2])
    for name in (b"odd \xff\xfe.wav", b"line\nbreak '\".wav", "Ünïcode ♫.wav".encode()):
        Path(os.fsdecode(os.path.join(os.fsencode(folder), name))).write_bytes(whole)
