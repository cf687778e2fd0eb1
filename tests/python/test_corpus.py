"""Corpora by Dask: their tables have the rows of `qel batch` on one machine."""

from __future__ import annotations

import contextlib
import os
import signal
import sqlite3
import subprocess
import sys
from collections.abc import Iterator
from pathlib import Path
from typing import Any

import numpy as np
import pyarrow.dataset as parquet
import pytest
from conftest import IS_WHOLE, write_wav
from corpus_files import add_faults, make_music, open_cluster
from distributed import Client, LocalCluster

import qelaudio
from qelaudio import corpus

QEL = os.environ["QEL_TOOL"]
# One key for each form of results.
KEYS = (
    "generic spectrum properties", "pitch class profile", "tempo", "spectrum", "dominant key",
    "global number of beats per bar", "audio range", "onset data", "partials",
)  # fmt: skip


@pytest.fixture(scope="module")
def client() -> Iterator[Any]:
    """Two threads of this process stand for workers: the tool has processes of its own anyway."""
    with open_cluster() as cluster, Client(cluster) as opened:
        yield opened


@pytest.fixture(scope="module")
def music(tmp_path_factory: pytest.TempPathFactory) -> Path:
    """A folder with a corpus that nobody changes."""
    folder = tmp_path_factory.mktemp("corpus")
    make_music(folder / "music", 4)
    add_faults(folder / "music")
    return folder


@pytest.fixture(autouse=True)
def place(music: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.chdir(music)


def batch(out: Path, *options: str, source: str = "music") -> Path:
    done = subprocess.run([QEL, "batch", source, "--out", str(out), "--quiet", *options])
    assert done.returncode in (0, 1)
    return out


def sqlite_rows(dataset: Path, table: str) -> dict[str, dict[str, Any]]:
    """The rows of a table by the identities of their paths."""
    from qelaudio.corpus._tables import id_of

    with contextlib.closing(sqlite3.connect(dataset / "dataset.sqlite")) as database:
        database.row_factory = sqlite3.Row
        return {id_of(row["path"]): dict(row) for row in database.execute(f"SELECT * FROM {table}")}


def parquet_rows(folder: str | Path) -> list[dict[str, Any]]:
    rows: list[dict[str, Any]] = parquet.dataset(folder, partitioning="hive").to_table().to_pylist()
    return rows


def require_rows(found: corpus.Corpus, dataset: Path) -> None:
    """Both tables have the same rows, whatever the machine has divided."""
    for table in ("files", "readings"):
        expected = sqlite_rows(dataset, table)
        rows = {row.pop("id"): row for row in parquet_rows(found.tables[table])}
        assert rows.keys() == expected.keys()
        for identity, row in rows.items():
            assert row.pop("prefix") == f"x{identity[0]}"
            raw = row.pop("path_bytes", None)
            wanted = expected[identity]
            if isinstance(wanted["path"], bytes):
                assert raw in (wanted["path"], None)
                assert (raw is None) == (table != "files")
                wanted["path"] = wanted["path"].decode("utf-8", "backslashreplace")
            assert row == wanted


def test_rows_are_those_of_one_machine_row_for_row(client: Any, tmp_path: Path) -> None:
    found = corpus.run("music", tmp_path / "out", client=client, qel=QEL, shards=3)
    require_rows(found, batch(tmp_path / "one"))
    assert found.statuses == {"damaged": 1, "not audio": 1, "ok": 7, "unreadable": 1}
    assert (found.files, found.errors) == (10, 3)


def cells_of(key: qelaudio.Key, values: Any) -> list[Any]:
    """The cells of one frame: a column for each number, or a list of all."""
    if key.payload == "complex":
        return [values.real.tolist(), values.imag.tolist()]
    if key.payload == "names":
        return [values.decode()]
    many = key.payload == "vector" and len(values) > 1
    return [values.tolist()] if many else np.atleast_1d(values).tolist()


def key_rows(arrays: dict[str, Any], key: qelaudio.Key) -> list[list[Any]]:
    """The rows that the arrays of a file with one channel make, written out plainly."""
    name = key.name.replace(" ", "-")
    times = arrays[f"{name}.time"].tolist()
    if name in arrays:
        values = arrays[name]
        return [[0, time, *cells_of(key, values[at, 0])] for at, time in enumerate(times)]
    rest = {"events": ["strength"], "partials": ["bin", "frequency", "magnitude", "phase", "frame"]}
    parts = ["channel", "time", *rest[key.payload]]
    return [list(row) for row in zip(*(arrays[f"{name}.{part}"].tolist() for part in parts), strict=True)]


def test_each_key_is_a_table_with_the_numbers_of_its_arrays(client: Any, tmp_path: Path) -> None:
    found = corpus.run(
        "music/album 1", tmp_path / "out", keys=KEYS, readings=[], client=client, qel=QEL, shards=2
    )
    one = batch(tmp_path / "one", "--readings", "none", "--keys", ",".join(KEYS), source="music/album 1")
    require_rows(found, one)
    tables = {name: parquet_rows(found.tables[name]) for name in KEYS}
    for identity, file in sqlite_rows(one, "files").items():
        with np.load(one / file["arrays"]) as opened:
            arrays = dict(opened)
        for name, rows in tables.items():
            mine = [row for row in rows if row["id"] == identity]
            assert {row["path"] for row in mine} == {file["path"]}
            cells = [[row[c] for c in row if c not in ("id", "path", "prefix")] for row in mine]
            assert repr(cells) == repr(key_rows(arrays, qelaudio.keys()[name])), name


def test_files_too_short_for_a_result_have_no_rows_in_the_table_of_the_key(
    client: Any, music: Path, tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    monkeypatch.chdir(tmp_path)
    (tmp_path / "short").mkdir()
    samples = np.full((1, 10), 0.5, np.float32)
    write_wav(tmp_path / "short/a.wav", samples, 44100)
    found = corpus.run("short", tmp_path / "out", keys=KEYS, client=client, qel=QEL, shards=1)
    assert found.statuses == {"ok": 1}
    one = batch(tmp_path / "one", "--keys", ",".join(KEYS), source="short")
    with np.load(one / sqlite_rows(one, "files").popitem()[1]["arrays"]) as arrays:
        counts = {name: len(arrays[f"{name.replace(' ', '-')}.time"]) for name in KEYS}
    assert 0 in counts.values()
    assert {name: len(parquet_rows(found.tables[name])) for name in KEYS} == counts


def test_schemas_tell_settings_versions_and_units(client: Any, tmp_path: Path) -> None:
    found = corpus.run(
        "music", tmp_path / "out", keys="tempo", readings="key", client=client, qel=QEL, shards=1
    )
    for folder in found.tables.values():
        metadata = parquet.dataset(folder).schema.metadata
        assert metadata[b"qelaudio"].decode() == qelaudio.__version__
        assert b"--keys\ttempo\n" in metadata[b"settings"]
        assert metadata[b"qel"].decode() == qelaudio.__version__
    assert parquet.dataset(found.tables["tempo"]).schema.field("tempo").metadata[b"unit"] == b"BPM"


def test_a_second_run_brings_the_tables_up_to_date(client: Any, tmp_path: Path) -> None:
    make_music(tmp_path / "music", 5)
    os.chdir(tmp_path)
    call = {"client": client, "qel": QEL, "readings": "loudness"}
    corpus.run("music", "out", **call)
    (tmp_path / "music/album 0/song 0.wav").unlink()
    (tmp_path / "music/new.wav").write_bytes((tmp_path / "music/album 1/song 1.wav").read_bytes())
    again = corpus.run("music", "out", **call)
    require_rows(again, batch(tmp_path / "one", "--readings", "loudness"))
    assert (tmp_path / "out/_SUCCESS").exists()
    written = [path for path in (tmp_path / "out").rglob("*") if "_work" not in path.parts]
    assert not [path for path in written if path.name.startswith(".")]


@pytest.mark.skipif(not IS_WHOLE, reason="starts three processes of Dask: 10 s to 20 s")
def test_a_worker_that_is_killed_costs_no_row(tmp_path: Path) -> None:
    with LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=":0") as cluster:
        with Client(cluster) as client:
            pids = list(client.run(os.getpid).values())

            def kill_one(what: str, done: int, count: int) -> None:
                if (what, done) == ("shards", 2):
                    os.kill(pids[0], signal.SIGKILL)

            found = corpus.run(
                "music", tmp_path / "out", client=client, qel=QEL, shards=6, progress=kill_one
            )
    require_rows(found, batch(tmp_path / "one"))


def test_no_files_give_empty_tables(client: Any, tmp_path: Path) -> None:
    (tmp_path / "nothing").mkdir()
    found = corpus.run(
        tmp_path / "nothing", tmp_path / "out", keys="tempo", client=client, qel=QEL, shards=1
    )
    for folder in found.tables.values():
        assert parquet.dataset(folder).to_table().num_rows == 0
    assert found.files == 0


@pytest.mark.parametrize(
    ("options", "reason"),
    [
        ({"keys": "tunes"}, "unknown key"),
        ({"readings": ["tune"]}, "unknown reading"),
        ({"colour": 1}, 'unknown option "colour"'),
        ({"qel": "no-such-tool"}, "no-such-tool: there is no such program"),
        ({"files_from": ["-"]}, "files_from"),
    ],
)
def test_calls_that_the_tool_refuses_end_with_its_reason(
    client: Any, tmp_path: Path, options: dict[str, Any], reason: str
) -> None:
    with pytest.raises(qelaudio.Error, match=reason) as raised:
        corpus.run("music", tmp_path / "out", **{"client": client, "qel": QEL, "shards": 1, **options})
    assert "\n" not in str(raised.value)


def test_a_directory_with_something_else_is_left_alone(client: Any, tmp_path: Path) -> None:
    (tmp_path / "letter.txt").write_text("dear")
    with pytest.raises(qelaudio.Error, match="is not empty, and no corpus"):
        corpus.run("music", tmp_path, client=client, qel=QEL)
    assert os.listdir(tmp_path) == ["letter.txt"]


def test_other_settings_than_those_of_the_tables_are_refused(client: Any, tmp_path: Path) -> None:
    call = {"client": client, "qel": QEL, "shards": 1}
    found = corpus.run("music", tmp_path / "out", readings="key", **call)
    before = parquet_rows(found.tables["readings"])
    for work in (None, tmp_path / "work"):
        with pytest.raises(qelaudio.Error, match='--readings "?key"?.* not .*--readings|--readings'):
            corpus.run("music", tmp_path / "out", readings="tempo", work=work, **call)
    with pytest.raises(qelaudio.Error, match="was begun with 1 shards, not 2"):
        corpus.run("music", tmp_path / "out", readings="key", **{**call, "shards": 2})
    assert parquet_rows(found.tables["readings"]) == before
    assert (tmp_path / "out/_SUCCESS").exists()


def test_a_second_run_at_the_same_time_is_refused(client: Any, tmp_path: Path) -> None:
    refused: list[Exception] = []

    def run_another(what: str, done: int, count: int) -> None:
        if not refused:
            with pytest.raises(qelaudio.Error, match="another run is writing") as raised:
                corpus.run("music", tmp_path / "out", client=client, qel=QEL)
            refused.append(raised.value)

    corpus.run("music", tmp_path / "out", client=client, qel=QEL, shards=1, progress=run_another)
    assert refused


def test_the_command_line_has_the_status_of_the_tool(client: Any, tmp_path: Path) -> None:
    command = [sys.executable, "-m", "qelaudio.corpus", "--qel", QEL, "--shards", "1"]
    # A cluster of processes takes seconds to start.
    command += [] if IS_WHOLE else ["--scheduler", client.scheduler.address]
    out = ["--out", str(tmp_path / "out"), "--readings", "loudness"]
    run = subprocess.run([*command, "music", *out], capture_output=True, text=True)
    assert (run.returncode, run.stderr) == (1, "")
    assert run.stdout.splitlines()[0] == f"{tmp_path}/out: 10 files, 3 with errors"
    refused = subprocess.run([*command, *out], capture_output=True, text=True)
    assert refused.returncode == 2 and "no files" in refused.stderr
