"""A small corpus in all containers and with odd names: one process for each file, `qel batch` and Dask.

script/corpus-check is the whole of it: with Slurm, with files that cost their process, and with any number of files.
"""

from __future__ import annotations

import contextlib
import os
import shutil
import sqlite3
from pathlib import Path

import numpy as np
import pytest
from conftest import IS_WHOLE, music, write_wav
from corpus_files import open_cluster
from distributed import Client
from trials import comparison, plain_loop, ways
from trials.datasets import differences
from trials.music import make_corpus

from qelaudio import corpus

pytestmark = pytest.mark.skipif(not IS_WHOLE, reason="7 s of processor time, mostly for processes that start")

COUNT = 16
KEYS = ("mel frequency cepstral coefficients", "dominant key", "onset data", "audio range")


@pytest.fixture(scope="module")
def run(tmp_path_factory: pytest.TempPathFactory) -> ways.CorpusRun:
    """A corpus and what `qel batch` makes of it."""
    base = tmp_path_factory.mktemp("ways")
    (base / "audio").mkdir()
    write_wav(base / "audio" / "music.wav", music(44100, 12, 2), 44100)
    made = ways.CorpusRun(os.environ["QEL_TOOL"], base, keys=KEYS)
    make_corpus(made.music, base / "audio", COUNT, 1, base, has_faults=False)
    ways.run_batch(made, base / "batch")
    return made


def test_the_corpus_has_files_with_results_and_with_errors(run: ways.CorpusRun) -> None:
    rows = comparison.read_rows(run.base / "batch")
    assert len(rows) == COUNT
    statuses = [row["status"] for row in rows.values()]
    assert statuses.count("ok") >= COUNT // 2
    assert {"unreadable", "not audio"} <= set(statuses)


def test_a_process_for_each_file_gives_the_rows_and_numbers_of_the_dataset(run: ways.CorpusRun) -> None:
    plain_loop.run(run)
    assert comparison.compare_loop(run, run.base / "batch") == []


def test_dask_gives_the_rows_and_arrays_of_the_dataset(
    run: ways.CorpusRun, tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    monkeypatch.chdir(run.music)
    with open_cluster() as cluster, Client(cluster) as client:
        found = corpus.run(
            ".", tmp_path / "out", keys=run.keys, client=client, qel=run.qel, shards=3, match="*", mix="keep",
            hash=True, time_limit=run.seconds, memory_limit=run.memory_mib,
        )  # fmt: skip
    assert differences(run.base / "batch", Path(found.dataset)) == []
    assert comparison.compare_parquet(tmp_path / "out", run.base / "batch", run.keys) == []


def test_differences_of_a_row_and_of_an_array_are_found(run: ways.CorpusRun, tmp_path: Path) -> None:
    other = tmp_path / "other"
    shutil.copytree(run.base / "batch", other)
    assert differences(run.base / "batch", other) == []
    with contextlib.closing(sqlite3.connect(other / "dataset.sqlite")) as database:
        # Files shorter than 0.4 s have no loudness.
        query = ("SELECT path, arrays FROM files JOIN readings USING(path) "
                 "WHERE loudness_lufs IS NOT NULL ORDER BY path LIMIT 1")
        path, name = database.execute(query).fetchone()
        database.execute("UPDATE readings SET loudness_lufs = loudness_lufs + 0.01 WHERE path = ?", (path,))
        database.commit()
    with np.load(other / name) as arrays:
        values = dict(arrays)
    values["audio-range"][0, 0, 0] += 1
    np.savez(other / name, **values)
    told = differences(run.base / "batch", other)
    assert [line.split(";")[0] for line in told] == [
        f"table readings has {COUNT} rows, not {COUNT}", "arrays differ",
    ]  # fmt: skip
    assert {line.split(":")[0] for line in comparison.compare_loop(run, other)} == {"loudness_lufs", "audio-range"}
