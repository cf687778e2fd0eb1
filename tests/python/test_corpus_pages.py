"""The examples of docs/batch.md and docs/scale.md, run as a reader would."""

from __future__ import annotations

import functools
import os
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
