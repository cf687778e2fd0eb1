"""Corpora in object stores: sources and tables at addresses of fsspec."""

from __future__ import annotations

import os
import re
import subprocess
from collections.abc import Iterator
from pathlib import Path
from typing import Any

import fsspec
import pyarrow.dataset as parquet
import pytest
from corpus_files import make_music
from distributed import Client, LocalCluster
from moto.server import ThreadedMotoServer

import qelaudio
from qelaudio import corpus
from qelaudio.corpus._dask import map_tasks
from qelaudio.corpus._remote import ENDS, Copies, RemoteFile, address_of, analyze_copies, name_of
from qelaudio.corpus._shards import Command, RunError, Shard, call
from qelaudio.corpus._storage import Place

ROOT = Path(__file__).resolve().parents[2]
QEL = os.environ["QEL_TOOL"]


@pytest.fixture(scope="module")
def client() -> Iterator[Any]:
    with LocalCluster(
        n_workers=1, threads_per_worker=2, processes=False, dashboard_address=":0"
    ) as cluster, Client(cluster) as opened:
        yield opened


@pytest.fixture(scope="module")
def options() -> Iterator[dict[str, Any]]:
    """A store on the loopback device."""
    server = ThreadedMotoServer(ip_address="127.0.0.1", port=0, verbose=False)
    server.start()
    host, port = server.get_host_and_port()
    yield {"key": "key", "secret": "secret", "endpoint_url": f"http://{host}:{port}"}
    server.stop()


@pytest.fixture
def store(options: dict[str, Any], tmp_path: Path) -> Any:
    """A bucket with music under names that are none for files, too."""
    make_music(tmp_path / "music", 3)
    fs = fsspec.filesystem("s3", **options)
    if fs.exists("bucket"):
        fs.rm("bucket", recursive=True)
    fs.mkdir("bucket")
    for at, name in enumerate(("a.wav", "x//double.wav", "x/100%.wav", "deep/../up.wav")):
        songs = sorted((tmp_path / "music").rglob("*.wav"))
        fs.pipe_file(f"bucket/music/{name}", songs[at % 3].read_bytes())
    fs.pipe_file("bucket/music/broken.flac", b"no audio")
    fs.pipe_file("bucket/music/notes.txt", b"a text")
    return fs


def rows(folder: str, options: dict[str, Any] | None) -> dict[str, dict[str, Any]]:
    fs, path = fsspec.core.url_to_fs(folder, **(options or {}))
    fs.invalidate_cache()
    table = parquet.dataset(path, filesystem=fs, partitioning="hive").to_table()
    return {row["path"]: row for row in table.to_pylist()}


def test_a_store_gives_the_rows_of_its_files(
    client: Any, store: Any, options: dict[str, Any], tmp_path: Path
) -> None:
    call = {
        "client": client, "qel": QEL, "shards": 2, "storage_options": options, "keys": "tempo",
        "work": tmp_path / "work",
    }  # fmt: skip
    found = corpus.run("s3://bucket/music", "s3://bucket/features", **call)
    assert found.statuses == {"not audio": 1, "ok": 4}
    files, readings = (rows(found.tables[name], options) for name in ("files", "readings"))
    names = {f"s3://bucket/music/{name}" for name in ("a.wav", "x//double.wav", "x/100%.wav", "deep/../up.wav")}
    assert {path for path, row in files.items() if row["status"] == "ok"} == names
    assert files.keys() == readings.keys()

    local = tmp_path / "local.wav"
    for path in names:
        local.write_bytes(store.cat_file(path))
        subprocess.run([QEL, "batch", str(local), "--out", str(tmp_path / f"d{len(path)}"), "--quiet"], check=True)
        one = corpus.run(local, tmp_path / f"o{len(path)}", client=client, qel=QEL, shards=1)
        for table, remote in (("files", files), ("readings", readings)):
            expected = rows(one.tables[table], None)[str(local)]
            for column in set(expected) - {"id", "path", "prefix", "arrays", "arrays_bytes"}:
                assert remote[path][column] == expected[column], column

    # Only the changed file is analyzed again.
    before = rows(found.tables["runs"], options)
    store.pipe_file("bucket/music/a.wav", store.cat_file("bucket/music/x/100%.wav"))
    store.rm_file("bucket/music/notes.txt")
    again = corpus.run("s3://bucket/music", "s3://bucket/features", **call)
    after = rows(again.tables["runs"], options)
    different = {path for path, row in after.items() if row["seconds"] != before[path]["seconds"]}
    assert different == {"s3://bucket/music/a.wav"}
    readings = rows(again.tables["readings"], options)
    assert readings["s3://bucket/music/a.wav"]["loudness_lufs"] == readings["s3://bucket/music/x/100%.wav"]["loudness_lufs"]
    assert store.exists("bucket/features/_SUCCESS")

    # One more at the end of the list leaves the files of the first shard as they are, but not the list.
    store.pipe_file("bucket/music/z1.wav", store.cat_file("bucket/music/a.wav"))
    more = corpus.run("s3://bucket/music", "s3://bucket/features", **call)
    assert more.statuses == {"not audio": 1, "ok": 5}


def test_a_table_that_is_not_whole_does_not_appear_in_a_store(options: dict[str, Any], store: Any) -> None:
    place = Place("s3://bucket/out", options)
    with pytest.raises(KeyError), place.writing("table") as file:
        file.write(b"half of it")
        raise KeyError
    assert place.names() == []
    with place.writing("table") as file:
        file.write(b"all of it")
    assert place.read("table") == "all of it"


def test_addresses_that_have_nothing_and_mixed_sources_are_refused(
    client: Any, store: Any, options: dict[str, Any], tmp_path: Path
) -> None:
    call = {"client": client, "qel": QEL, "storage_options": options}
    with pytest.raises(qelaudio.Error, match="s3://bucket/nothing: no such file or directory"):
        corpus.run("s3://bucket/nothing", tmp_path / "a", **call)
    with pytest.raises(qelaudio.Error, match="are local and remote ones"):
        corpus.run(["s3://bucket/music", tmp_path], tmp_path / "b", **call)
    with pytest.raises(qelaudio.Error, match="name a directory for the datasets of shards with work"):
        corpus.run("s3://bucket/music", "s3://bucket/c", **call)


def test_addresses_of_unknown_file_systems_are_one_sentence(tmp_path: Path) -> None:
    (tmp_path / "music").mkdir()
    arguments: dict[str, Any] = {"work": tmp_path / "work", "qel": QEL}
    for sources, out in (("nope://music", str(tmp_path / "out")), (str(tmp_path / "music"), "nope://music")):
        with pytest.raises(qelaudio.Error, match="^nope://music: cannot be opened: Protocol not known: nope$"):
            corpus.run(sources, out, **arguments)


def test_a_store_that_does_not_answer_is_named(tmp_path: Path) -> None:
    (tmp_path / "music").mkdir()
    options = {"key": "key", "secret": "secret", "endpoint_url": "http://127.0.0.1:1",
               "config_kwargs": {"retries": {"max_attempts": 0}}}  # fmt: skip
    arguments: dict[str, Any] = {"work": tmp_path / "work", "qel": QEL, "storage_options": options}
    for sources, out in (("s3://b/music", str(tmp_path / "out")), (str(tmp_path / "music"), "s3://b/out")):
        named = sources if "://" in sources else out
        with pytest.raises(qelaudio.Error, match=f"^{named}: cannot be reached: Could not connect") as raised:
            corpus.run(sources, out, **arguments)
        assert "\n" not in str(raised.value)


def test_an_object_that_cannot_be_fetched_is_tried_again(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    class StoreError(Exception):
        """As those of the clients of stores, which are no OSError."""

    def refuse(*_: Any) -> None:
        raise StoreError("slow down")

    fs = fsspec.filesystem("memory")
    fs.pipe_file("/music/a.wav", b"no audio")
    monkeypatch.setattr(type(fs), "get_file", refuse)
    shard = Shard(1, 1, str(tmp_path / "shard"), str(tmp_path / "list"))
    files = (RemoteFile("memory/music/a.wav", "memory://music/a.wav", 8, "[]"),)
    with pytest.raises(RunError, match="^shard 1/1: cannot fetch to .*: slow down$"):
        analyze_copies(Copies(Command(QEL, str(tmp_path), ()), shard, files, "", {}))


def test_a_relative_path_of_the_tool_counts_from_the_current_directory(tmp_path: Path) -> None:
    assert call(os.path.relpath(QEL), ["--version"], str(tmp_path)) == (0, "")


def test_a_task_that_a_store_fails_is_tried_four_times(client: Any, tmp_path: Path) -> None:
    def fail(log: Path) -> None:
        with log.open("a") as tries:
            tries.write("tried\n")
        raise LookupError("slow down")

    with pytest.raises(RunError, match="^LookupError: slow down$"):
        map_tasks(client, fail, [tmp_path / "log"], lambda _: None)
    assert (tmp_path / "log").read_text() == "tried\n" * 4


@pytest.mark.parametrize("path", ["a/b.wav", "a//b", "a/./b", "a/../b", "%2F/100%", "%/%.", "a\0b/%00", "/x", "x/"])
def test_names_of_copies_lead_back_to_their_addresses(path: str) -> None:
    name = name_of(f"s3://{path}")
    assert address_of(name) == f"s3://{path}"
    assert os.path.normpath(name) == name and "\0" not in name


def test_the_usual_ends_of_names_are_those_of_the_tool() -> None:
    text = (ROOT / "batch/Sources.cpp").read_text()
    found = re.search(r"kEnds\{(.*?)\}", text, re.DOTALL)
    assert found and set(re.findall(r'"([^"]+)"', found[1])) == ENDS
