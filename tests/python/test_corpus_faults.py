"""Corpora by Dask on a machine that fails: each ends with one line, and the same call continues."""

from __future__ import annotations

import os
from collections.abc import Iterator
from pathlib import Path
from typing import Any

import pytest
from corpus_files import make_music
from distributed import LocalCluster

import qelaudio
from qelaudio import corpus

QEL = os.environ["QEL_TOOL"]


def open_cluster() -> Any:
    """A cluster in threads of this process, behind a socket."""
    return LocalCluster(
        n_workers=1, threads_per_worker=2, processes=False, protocol="tcp", host="127.0.0.1",
        dashboard_address=":0",
    )  # fmt: skip


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
