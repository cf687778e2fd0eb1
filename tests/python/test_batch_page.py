"""The examples of docs/batch.md, run as a reader would."""

from __future__ import annotations

import os
from pathlib import Path
from typing import Any

import pages
import pytest
from corpus_files import make_music

PAGE = Path(__file__).resolve().parents[2] / "docs/batch.md"


def test_a_folder_of_music_becomes_a_table_in_pandas(
    tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    make_music(tmp_path / "music")
    monkeypatch.chdir(tmp_path)
    tool = Path(os.environ["QEL_TOOL"]).parent
    monkeypatch.setenv("PATH", f"{tool}{os.pathsep}{os.environ['PATH']}")
    names: dict[str, Any] = {}
    blocks = pages.blocks_of(PAGE.read_text())
    for block in blocks:
        pages.run(block.code, PAGE, block.line, names)
    assert len(blocks[0].code.splitlines()) == 4
    table = names["table"]
    paths = ["music/album 0/song 0.wav", "music/album 0/song 2.wav", "music/album 1/song 1.wav"]
    assert table["path"].tolist() == paths
    assert table["status"].tolist() == ["ok"] * 3
    # Beats of 0.5 s, and readings of tempo are within 1 %.
    assert table["tempo_bpm"].tolist() == pytest.approx([120] * 3, rel=0.01)
    assert sorted(names["chroma"]) == paths
    assert all(values.shape[1:] == (1, 12) for values in names["chroma"].values())
