"""The examples of docs/batch.md and docs/scale.md, run as a reader would."""

from __future__ import annotations

import functools
import importlib
import os
import re
import sqlite3
import subprocess
from pathlib import Path
from typing import Any

import numpy
import pages
import pytest
from corpus_files import make_music
from distributed import Client, LocalCluster

from qelaudio import corpus

DOCS = Path(__file__).resolve().parents[2] / "docs"
PATHS = ["music/album 0/song 0.wav", "music/album 0/song 2.wav", "music/album 1/song 1.wav"]


@pytest.fixture(autouse=True)
def reader(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    """Works in a folder with music, and has the tool."""
    make_music(tmp_path / "music")
    monkeypatch.chdir(tmp_path)
    tool = Path(os.environ["QEL_TOOL"]).parent
    monkeypatch.setenv("PATH", f"{tool}{os.pathsep}{os.environ['PATH']}")


def run_blocks(path: Path) -> dict[str, Any]:
    """Runs the code of a page, of which the first block has four lines. Returns its variables."""
    names: dict[str, Any] = {}
    blocks = pages.blocks_of(path.read_text())
    assert len(blocks[0].code.splitlines()) == 4
    for block in blocks:
        pages.run(block.code, path, block.line, names)
    return names


def test_a_folder_of_music_becomes_a_table_in_pandas() -> None:
    names = run_blocks(DOCS / "batch.md")
    table = names["table"]
    assert table["path"].tolist() == PATHS
    assert table["status"].tolist() == ["ok"] * 3
    # Beats of 0.5 s, and readings of tempo are within 1 %.
    assert table["tempo_bpm"].tolist() == pytest.approx([120] * 3, rel=0.01)
    assert sorted(names["chroma"]) == PATHS
    assert all(values.shape[1:] == (1, 12) for values in names["chroma"].values())


def test_a_folder_of_music_becomes_parquet_tables(monkeypatch: pytest.MonkeyPatch) -> None:
    with LocalCluster(
        n_workers=1, threads_per_worker=2, processes=False, dashboard_address=":0"
    ) as cluster, Client(cluster) as client:
        # Instead of a cluster of processes, which takes seconds to start.
        monkeypatch.setattr(corpus, "run", functools.partial(corpus.run, client=client))
        names = run_blocks(DOCS / "scale.md")
    table = names["table"].sort_values("path")
    assert table["path"].tolist() == PATHS
    assert table["tempo_bpm"].tolist() == pytest.approx([120] * 3, rel=0.01)
    assert names["found"]["files"].sum() == 3
    assert names["chroma"]["path"].tolist() == PATHS
    assert names["chroma"]["a"].between(0, 1).all()
    assert sorted(names["fast"]["path"]) == PATHS
    assert set(names["profile"]["path"]) == {names["fast"]["path"][0]}
    arrays = numpy.stack(names["profile"]["pitch_class_profile"])
    assert arrays.shape == (len(names["profile"]), 12) and len(arrays) > 100


def kubernetes_jobs() -> list[dict[str, Any]]:
    text = re.search(r"```yaml\n(.*?)```", (DOCS / "scale.md").read_text(), re.DOTALL)
    assert text
    return list(importlib.import_module("yaml").safe_load_all(text[1]))


def run_container(job: dict[str, Any], shards: int, **variables: str) -> subprocess.CompletedProcess[str]:
    """Runs the command of a job in this directory, with fewer shards."""
    (container,) = job["spec"]["template"]["spec"]["containers"]
    environment = {**os.environ, **variables, "SHARDS": str(shards)}
    command = [*container["command"], *container["args"]]
    return subprocess.run(command, env=environment, capture_output=True, text=True)


def test_the_jobs_of_kubernetes_are_an_indexed_job_between_two_others() -> None:
    jobs = kubernetes_jobs()
    assert [(job["apiVersion"], job["kind"], job["metadata"]["name"]) for job in jobs] == [
        ("batch/v1", "Job", name) for name in ("qel-list", "qel-shards", "qel-merge")
    ]
    spec = jobs[1]["spec"]
    assert spec["completionMode"] == "Indexed"
    counts = [job["spec"]["template"]["spec"]["containers"][0]["env"][0] for job in jobs[1:]]
    assert counts == [{"name": "SHARDS", "value": str(spec["completions"])}] * 2
    for job in jobs:
        pod = job["spec"]["template"]["spec"]
        assert pod["restartPolicy"] in ("Never", "OnFailure")
        assert pod["containers"][0]["volumeMounts"][0]["name"] == pod["volumes"][0]["name"]


def test_the_commands_of_kubernetes_make_the_dataset_of_one_run(tmp_path: Path) -> None:
    (tmp_path / "music/no audio.wav").write_bytes(b"no audio")
    made, sharded, merged = kubernetes_jobs()
    assert run_container(made, 2).returncode == 0
    for index in range(2):
        pod = run_container(sharded, 2, JOB_COMPLETION_INDEX=str(index))
        assert (pod.returncode, pod.stderr) == (0, "")  # also where a file has an error
    refused = run_container(sharded, 2, JOB_COMPLETION_INDEX="2")
    assert refused.returncode == 2 and "--shard" in refused.stderr
    (tmp_path / "shards/1/dataset.sqlite").rename(tmp_path / "kept")
    (tmp_path / "shards/1/dataset.sqlite").write_bytes(b"x" * 8192)
    damaged = run_container(sharded, 2, JOB_COMPLETION_INDEX="0")
    assert damaged.returncode == 1 and "its tables are damaged" in damaged.stderr
    (tmp_path / "kept").rename(tmp_path / "shards/1/dataset.sqlite")
    assert run_container(merged, 2).stdout.splitlines()[0] == "features: 4 files, 1 with errors"
    subprocess.run(["qel", "batch", "music", "--out", "one", "--quiet"])
    rows = [
        sqlite3.connect(tmp_path / name / "dataset.sqlite").execute("SELECT * FROM readings").fetchall()
        for name in ("features", "one")
    ]
    assert len(rows[0]) == 4 and rows[0] == rows[1]
