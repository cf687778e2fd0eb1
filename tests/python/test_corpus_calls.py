"""Calls of corpora: wrong arguments, what the tool is called with, and what is said of failures."""

from __future__ import annotations

import logging
import os
import signal
import subprocess
import sys
import time
from collections.abc import Iterator
from pathlib import Path
from typing import Any

import pytest
from corpus_files import make_music, open_cluster
from distributed import Client

import qelaudio
from qelaudio import corpus

QEL = os.environ["QEL_TOOL"]


@pytest.fixture(scope="module")
def client() -> Iterator[Any]:
    with open_cluster(1) as cluster, Client(cluster) as opened:
        yield opened


@pytest.fixture(scope="module")
def music(tmp_path_factory: pytest.TempPathFactory) -> Path:
    return make_music(tmp_path_factory.mktemp("corpus") / "music", 3)


def tool(folder: Path, script: str = "") -> Path:
    """The tool behind a script, which writes down what it is called with."""
    path = folder / "tool"
    path.write_text(f'#!/bin/sh\necho "$@" >>"{folder}/calls"\n{script}\nexec "{QEL}" "$@"\n')
    path.chmod(0o755)
    return path


def calls_of(folder: Path) -> list[str]:
    return (folder / "calls").read_text().splitlines()


class Closed:
    """What is no client."""


@pytest.mark.parametrize(
    ("arguments", "reason"),
    [
        ({"sources": []}, "sources: are empty; name files"),
        ({"sources": None}, "sources: is None; pass a path or several paths"),
        ({"sources": 3}, "sources: is an int; pass a path or several paths"),
        ({"sources": ["music", 3]}, "sources: has an int; pass a path or several paths"),
        ({"sources": ""}, "sources: one of them is an empty path"),
        ({"sources": "no-such-folder"}, "no-such-folder: no such file or directory"),
        ({"out": 3}, "out: is an int; pass a path"),
        ({"out": ""}, "out: is an empty path"),
        ({"out": "/dev/null/features"}, "/dev/null/features/_work: there is a file in the way; name another directory"),
        ({"out": "/proc/features"}, "/proc/features/_work: cannot be written: .*; name another directory"),
        ({"out": __file__}, "test_corpus_calls.py: is a file; name a directory"),
        ({"keys": 3}, "keys: is an int; pass the name of a key or several names"),
        ({"keys": {"tempo": 1}}, "keys: is a dict; pass the name of a key"),
        ({"keys": "tmpo"}, '^unknown key "tmpo"; did you mean "tempo"?'),
        ({"readings": True}, "readings: is a bool; pass the name of a reading"),
        ({"readings": "tmpo"}, 'unknown reading "tmpo"; the readings are tempo,'),
        ({"client": Closed()}, "client: is a Closed; pass a distributed.Client, the address of a scheduler, or None"),
        ({"client": ""}, "client: is an empty address; pass"),
        ({"client": "127.0.0.1"}, 'client: cannot connect to a scheduler at "127.0.0.1": '),
        ({"work": 3}, "work: is an int; pass a path"),
        ({"shards": 0}, "shards: is 0; pass a whole number from 1 on"),
        ({"shards": 2.5}, "shards: is a float; pass a whole number from 1 on"),
        ({"jobs": None}, "jobs: is None; pass a whole number from 1 on"),
        ({"qel": None}, "qel: is None; pass a path"),
        ({"storage_options": "anon"}, "storage_options: is a str; pass a mapping"),
        ({"progress": None}, "progress: is None; pass a function"),
        ({"retry_error": True}, 'unknown option "retry_error"; did you mean "retry_errors"?'),
        ({"hash": "yes"}, "hash: is a str; pass True or False"),
        ({"block": [1]}, "block: is a list; pass a number"),
        ({"mix": 1}, "mix: is an int; pass a text"),
        ({"param": {"complexity": 1}}, "param: is a dict; pass a text or several texts"),
        ({"match": 3}, "match: is an int; pass a text or several texts"),
    ],
)  # fmt: skip
def test_a_wrong_argument_is_one_sentence(
    music: Path, tmp_path: Path, arguments: dict[str, Any], reason: str
) -> None:
    call = {"sources": music, "out": tmp_path / "out", "qel": QEL, **arguments}
    with pytest.raises(qelaudio.Error, match=reason) as raised:
        corpus.run(call.pop("sources"), call.pop("out"), **call)
    assert "\n" not in str(raised.value)


def test_a_client_that_is_closed_is_refused(client: Any, music: Path, tmp_path: Path) -> None:
    with Client(client.scheduler.address) as another:
        pass
    with pytest.raises(qelaudio.Error, match="client: is closed; pass a distributed.Client that is open"):
        corpus.run(music, tmp_path / "out", client=another, qel=QEL)


def test_files_are_listed_once_for_all_shards(client: Any, music: Path, tmp_path: Path) -> None:
    found = corpus.run(music, tmp_path / "out", client=client, qel=tool(tmp_path), shards=3)
    assert found.statuses == {"ok": 3}
    calls = calls_of(tmp_path)
    shards = [call for call in calls if "--shard" in call]
    assert len(shards) == 3 and all(f"--list {tmp_path}/out/_work/files.list " in call for call in shards)
    assert len([call for call in calls if "--list-only" in call]) == 1
    assert len(calls) == 5  # and the merge


def test_shards_that_listed_the_files_themselves_are_continued(client: Any, music: Path, tmp_path: Path) -> None:
    work = tmp_path / "out/_work"
    work.mkdir(parents=True)
    for index in (1, 2):
        subprocess.run(
            [QEL, "batch", music, "--out", work / f"shard-{index:06}-of-000002", "--shard", f"{index}/2", "--quiet"],
            check=True,
        )
    before = {path: path.stat().st_ino for path in work.rglob("dataset.sqlite")}
    assert len(before) == 2
    assert corpus.run(music, tmp_path / "out", client=client, qel=QEL).statuses == {"ok": 3}
    assert {path: path.stat().st_ino for path in before} == before


def test_a_damaged_shard_says_what_to_do_and_nothing_else(client: Any, music: Path, tmp_path: Path) -> None:
    call = {"client": client, "qel": QEL, "shards": 2, "readings": "loudness"}
    corpus.run(music, tmp_path / "out", **call)
    shard = tmp_path / "out/_work/shard-000002-of-000002"
    (shard / "dataset.sqlite").write_bytes(b"x" * 8192)
    logged: list[str] = []

    class Handler(logging.Handler):
        def emit(self, record: logging.LogRecord) -> None:
            logged.append(record.getMessage())

    handler, log = Handler(), logging.getLogger("distributed")
    log.addHandler(handler)
    try:
        with pytest.raises(qelaudio.Error) as raised:
            corpus.run(music, tmp_path / "out", **call)
    finally:
        log.removeHandler(handler)
    assert str(raised.value) == (
        f"shard 2/2: {shard}: its tables are damaged: file is not a database; remove this dataset and run its "
        "command again"
    )
    assert [line for line in logged if "Compute Failed" in line] == []
    for path in shard.rglob("*"):
        if path.is_file():
            path.unlink()
    assert corpus.run(music, tmp_path / "out", **call).statuses == {"ok": 3}


@pytest.mark.parametrize(("failures", "succeeds"), [(3, True), (4, False)])
def test_a_shard_is_tried_four_times(
    client: Any, music: Path, tmp_path: Path, failures: int, succeeds: bool
) -> None:
    script = f"""case "$*" in *"--shard 1/"*)
        [ $(grep -c "shard 1/" "{tmp_path}/calls") -gt {failures} ] || {{ echo "qel: disk is full" >&2; exit 1; }} ;;
    esac"""
    call = {"client": client, "qel": tool(tmp_path, script), "shards": 2}
    if succeeds:
        assert corpus.run(music, tmp_path / "out", **call).statuses == {"ok": 3}
    else:
        with pytest.raises(qelaudio.Error, match="^shard 1/2: disk is full$"):
            corpus.run(music, tmp_path / "out", **call)


def test_the_command_line_refuses_no_shards_and_tells_of_no_audio(client: Any, music: Path, tmp_path: Path) -> None:
    command = [sys.executable, "-m", "qelaudio.corpus", "--qel", QEL, "--scheduler", client.scheduler.address]
    out = ["--out", str(tmp_path / "out")]
    none = subprocess.run([*command, str(music), *out, "--shards", "0"], capture_output=True, text=True)
    assert (none.returncode, none.stderr) == (2, "qelaudio.corpus: shards: is 0; pass a whole number from 1 on\n")
    (tmp_path / "texts").mkdir()
    empty = subprocess.run([*command, str(tmp_path / "texts"), *out, "--shards", "1"], capture_output=True, text=True)
    assert empty.returncode == 1
    assert empty.stdout == f"{tmp_path}/out: 0 files, 0 with errors\n"
    assert empty.stderr == (
        f"{tmp_path}/texts: no file there has an extension of audio files; --match '*' takes all files\n"
    )


def test_a_program_of_four_lines_needs_no_guard(music: Path, tmp_path: Path) -> None:
    program = tmp_path / "program.py"
    program.write_text(f"""
from qelaudio import corpus
found = corpus.run({str(music)!r}, "features", qel={QEL!r}, readings="loudness", shards=1)
print(found.statuses)
""")
    done = subprocess.run([sys.executable, program], cwd=tmp_path, capture_output=True, text=True)
    assert (done.returncode, done.stdout, done.stderr) == (0, "{'ok': 3}\n", "")


def test_a_run_that_is_interrupted_ends_its_tools(music: Path, tmp_path: Path) -> None:
    slow = tool(tmp_path, 'case "$*" in *--shard*) exec sleep 30 ;; esac')
    command = [sys.executable, "-m", "qelaudio.corpus", str(music), "--out", str(tmp_path / "out"), "--qel", str(slow)]
    run = subprocess.Popen([*command, "--shards", "1"], stderr=subprocess.PIPE, text=True)
    while not (tmp_path / "calls").exists() or not any("--shard" in call for call in calls_of(tmp_path)):
        time.sleep(0.05)
    begin = time.monotonic()
    run.send_signal(signal.SIGINT)
    complaint = run.communicate()[1]
    assert time.monotonic() - begin < 20
    assert (run.returncode, complaint) == (130, "qelaudio.corpus: stopped; the same command continues\n")
