"""The notebooks run, show pictures, and find what they say."""

from __future__ import annotations

import json
from functools import cache
from pathlib import Path
from typing import Any

import notebooks
import numpy as np
import pytest
from qelaudio._sources import open_stream

ROOT = Path(__file__).resolve().parents[2]
NOTEBOOKS = {path.stem: path for path in (ROOT / "docs/notebooks").glob("*.py")}
PICTURES = {"key": 4, "stream": 2, "tempo": 3, "timbre": 2}
COARSE = 12  # dots per inch: figures are drawn, and quickly


@cache
def run(name: str) -> tuple[dict[str, Any], list[notebooks.Shown]]:
    """The variables of a notebook at its end, and what its cells show. Each is run once."""
    names: dict[str, Any] = {}
    return names, list(notebooks.run(NOTEBOOKS[name], names, COARSE))


@pytest.fixture(autouse=True)
def in_the_folder_of_the_project(monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.chdir(ROOT)


def test_all_notebooks_are_tested() -> None:
    assert set(NOTEBOOKS) == set(PICTURES)


@pytest.mark.parametrize("name", PICTURES)
def test_notebooks_run_and_show_pictures(name: str) -> None:
    _, shown = run(name)
    assert sum(len(cell.pictures) for cell in shown) == PICTURES[name]
    assert any(cell.printed for cell in shown)
    assert shown[0].cell.is_text and shown[0].cell.source.startswith("# ")


def attack_delay(path: str, seconds: float) -> float:
    """From a time in the score to the attack, as docs/accuracy.md defines it, in a recording that is
    silent before that time: where the level over 1.5 ms comes within 30 dB of its greatest in half a second.
    """
    stream = open_stream(path, None, mix=True, block=4096)
    samples = np.concatenate(list(stream.chunks()), axis=1)[0].astype(float)
    rate = stream.sample_rate
    first = round(seconds * rate)
    width = round(0.0015 * rate)
    squares = samples[first : first + round(0.5 * rate)] ** 2
    level = np.convolve(squares, np.ones(width) / width, "valid")
    return float(np.argmax(level > level.max() / 1000) / rate)


def test_beats_are_where_the_score_has_them() -> None:
    names, _ = run("tempo")
    assert names["found"] == 64
    late = names["errors"] - attack_delay(names["song"], names["score"][0])
    assert np.abs(late).max() < 0.0116  # a hop
    assert names["tempo"].bpm == pytest.approx(112, abs=0.1)
    assert names["settled"] == pytest.approx(112, rel=0.01)
    # keys.md: 35 ms early on average
    assert np.median(names["early"]) == pytest.approx(-0.035, abs=0.003)
    # The score has bars of four, whose halves are accented alike: they may be read as bars of two, which begin
    # where those of the score do.
    assert names["answers"].bars.beats_per_bar in (2, 4)
    assert names["distances"].max() < 0.07


def test_the_key_is_that_of_the_score() -> None:
    names, shown = run("key")
    assert names["key"].main.name == "D major" == names["names"][names["order"][0]]
    assert sorted(names["strongest"]) == ["A", "D", "F#"]
    assert shown[1].table.startswith("<table>") and "pitch class profile" in shown[1].table


def test_instruments_sound_like_themselves() -> None:
    names, _ = run("timbre")
    assert len(names["files"]) == 24
    assert names["same"] >= 0.9  # by chance: 5 of 23


def test_a_stream_gives_what_the_whole_gives() -> None:
    names, _ = run("stream")
    assert names["is_same"]
    # 40 notes; the first one begins with the stream and has no attack.
    assert np.array(names["attacks"]) == pytest.approx(0.5 * np.arange(1, 40), abs=0.03)
    assert names["smooth"][-1] == pytest.approx(120, rel=0.01)


@pytest.mark.parametrize("name", PICTURES)
def test_notebooks_become_those_of_jupyter(name: str) -> None:
    notebook = json.loads(notebooks.to_ipynb(NOTEBOOKS[name]))
    cells = notebooks.cells_of(NOTEBOOKS[name])
    assert (notebook["nbformat"], len(notebook["cells"])) == (4, len(cells))
    for made, cell in zip(notebook["cells"], cells, strict=True):
        assert made["cell_type"] == ("markdown" if cell.is_text else "code")
        assert "".join(made["source"]) == cell.source
        assert cell.is_text or made["outputs"] == []


def test_a_file_that_begins_without_a_cell_is_refused(tmp_path: Path) -> None:
    path = tmp_path / "notebook.py"
    path.write_text("import numpy\n# %%\n")
    with pytest.raises(ValueError, match="begins no cell"):
        notebooks.cells_of(path)


def test_the_text_of_cells_loses_its_marks(tmp_path: Path) -> None:
    path = tmp_path / "notebook.py"
    path.write_text("# %% [markdown]\n# # Title\n#\n# Text\n\n# %%\nvalue = 1\nvalue\n")
    text, code = notebooks.cells_of(path)
    assert text == notebooks.Cell(True, "# Title\n\nText", 1)
    assert code == notebooks.Cell(False, "value = 1\nvalue", 6)
