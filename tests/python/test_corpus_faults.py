"""Corpora by Dask on a machine that fails: each ends with one line, and the same call continues."""

from __future__ import annotations

import contextlib
import os
import resource
import sqlite3
import subprocess
import sys
import tempfile
from collections.abc import Iterator
from pathlib import Path
from typing import Any

import pytest
from corpus_files import make_music, open_cluster

import qelaudio
from qelaudio import corpus
from qelaudio.corpus._partitions import write_index
from qelaudio.corpus._scratch import scratch
from qelaudio.corpus._storage import Place

QEL = os.environ["QEL_TOOL"]


@pytest.fixture
def cluster() -> Iterator[Any]:
    with open_cluster() as opened:
        yield opened


def test_a_scheduler_that_is_lost_ends_the_run_with_a_line_that_names_it(tmp_path: Path) -> None:
    make_music(tmp_path / "music", 3)
    cluster = open_cluster()
    address = cluster.scheduler.address

    def lose(what: str, done: int, count: int) -> None:
        cluster.close()

    with pytest.raises(qelaudio.Error, match="lost the scheduler") as raised:
        corpus.run(
            tmp_path / "music", tmp_path / "out", client=address, qel=QEL, shards=3, progress=lose
        )
    assert address in str(raised.value) and "\n" not in str(raised.value)
    assert not (tmp_path / "out/_SUCCESS").exists()


@contextlib.contextmanager
def full_disk() -> Iterator[None]:
    """No file may grow beyond a page, as on a disk that is full. The system's word for it is another one."""
    soft, hard = resource.getrlimit(resource.RLIMIT_FSIZE)
    resource.setrlimit(resource.RLIMIT_FSIZE, (4096, hard))
    try:
        yield
    finally:
        resource.setrlimit(resource.RLIMIT_FSIZE, (soft, hard))


@pytest.mark.parametrize("size", [5000, 5_000_000])  # fails when it is closed, and when it is written
def test_a_table_that_cannot_be_written_is_named_and_leaves_nothing(tmp_path: Path, size: int) -> None:
    place = Place(str(tmp_path))
    with pytest.raises(qelaudio.Error, match="cannot write files/table: File too large") as raised:
        with full_disk(), place.writing("files/table") as file:
            file.write(b"x" * size)
            file.write(b"x")
    assert str(tmp_path) in str(raised.value)
    assert place.names() == []


def test_an_index_that_cannot_be_written_is_named_and_leaves_nothing(tmp_path: Path) -> None:
    (tmp_path / "merged").mkdir()
    with contextlib.closing(sqlite3.connect(tmp_path / "merged/dataset.sqlite")) as tables:
        tables.execute("CREATE TABLE files(path)")
        tables.executemany("INSERT INTO files VALUES(?)", [(str(number),) for number in range(1000)])
        tables.commit()
    index = tmp_path / "merged.ids"
    with full_disk(), pytest.raises(qelaudio.Error, match="merged.ids: cannot write"):
        write_index(str(tmp_path / "merged"), str(index), lambda path: path)
    assert not index.exists()


def test_files_that_a_killed_run_has_begun_are_removed(cluster: Any, tmp_path: Path) -> None:
    make_music(tmp_path / "music", 1)
    begun = [tmp_path / "out" / below / f".{0:032x}.begun" for below in ("", "_work")]
    for path in begun:
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(b"half of it")
    corpus.run(
        tmp_path / "music", tmp_path / "out", client=cluster.scheduler.address, qel=QEL, shards=1
    )
    assert [path for path in begun if path.exists()] == []


def test_what_a_killed_worker_has_copied_is_removed_by_the_next_one(
    tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    monkeypatch.setenv("TMPDIR", str(tmp_path))
    monkeypatch.setattr(tempfile, "tempdir", None)  # where it was found before
    code = """if True:
        import os, time
        from qelaudio.corpus._scratch import scratch
        with scratch() as folder:
            open(os.path.join(folder, "song.wav"), "w").close()
            print(folder, flush=True)
            time.sleep(600)
    """
    with subprocess.Popen([sys.executable, "-c", code], stdout=subprocess.PIPE, text=True) as worker:
        assert worker.stdout is not None
        copied = Path(worker.stdout.readline().strip()) / "song.wav"
        with scratch() as other:
            assert os.listdir(other) == []
            assert copied.exists()  # its process lives
        worker.kill()
    assert copied.exists()
    with scratch():
        assert len(os.listdir(tmp_path)) == 1
    assert os.listdir(tmp_path) == []
