"""Songs as drawings and as pages."""

from __future__ import annotations

import html
import json
import os
import re
import subprocess
import sys
from pathlib import Path
from typing import Any

import matplotlib
import numpy as np
import pytest
from conftest import music, write_wav
from matplotlib.figure import Figure
from PIL import Image

import qelaudio
from qelaudio import _axes, _pages, plot

matplotlib.use("Agg")
ROOT = Path(__file__).resolve().parents[2]
LIST = json.loads((ROOT / "report/lanes.json").read_text(encoding="utf-8"))
RATE = 44100


@pytest.fixture(scope="module")
def song(folder: Path) -> Path:
    return write_wav(folder / "song.wav", music(RATE, 8), RATE)


@pytest.fixture(scope="module")
def data(song: Path) -> _pages.PageData:
    return _pages.PageData(_pages.written(song, None, "", None, audio=False))


def plotted(source: Any, **options: Any) -> Figure:
    figure = Figure(figsize=(8, 1), layout="constrained")
    assert qelaudio.plot_song(source, figure=figure, **options) is figure
    return figure


def sine(hz: float) -> Any:
    return (0.5 * np.sin(2 * np.pi * hz * np.arange(3 * RATE) / RATE)).astype(np.float32)


def titles(figure: Figure) -> list[str]:
    return [re.sub(r" \(.*", "", axis.get_title(loc="left")) for axis in figure.axes]


def test_the_lanes_are_those_of_the_page(song: Path) -> None:
    expected = [lane["label"] for lane in LIST["lanes"] if lane["open"]]
    assert titles(plotted(song)) == expected
    assert _pages.lane_list() == LIST


def test_lanes_are_chosen_by_name_in_the_order_of_the_list(song: Path) -> None:
    assert titles(plotted(song, lanes=["tempo", "waveform"])) == ["Waveform", "Tempo"]
    assert titles(plotted(song, lanes="reassigned")) == ["Spectrogram"]
    assert len(plotted(song, lanes="reassigned").axes[0].images) == 2
    with pytest.raises(qelaudio.Error, match='no lane "tempi"; there are waveform, '):
        plotted(song, lanes="tempi")
    with pytest.raises(qelaudio.Error, match="lanes is empty"):
        plotted(song, lanes=[])


def test_a_sine_is_one_row_at_its_height() -> None:
    row = 90
    figure = plotted(
        sine(90 * 2 ** (row / 36)), sample_rate=RATE, lanes=["spectrogram", "constantq"]
    )
    spectrogram, constant_q = [np.asarray(axis.images[0].get_array()) for axis in figure.axes]
    assert constant_q[:, constant_q.shape[1] // 2].argmax() == row
    ticks = _axes.row_ticks(LIST["lanes"][1], RATE)
    # 509 Hz is just above the label of 500 Hz, less than a bin of 43 Hz.
    at = dict((label, place) for place, label in ticks)["500"]
    strongest = np.flatnonzero(spectrogram[:, 200] == spectrogram[:, 200].max())
    assert strongest.min() <= at + 43 / 500 * at and strongest.max() >= at - 43 / 500 * at


def test_a_triad_lights_its_notes() -> None:
    figure = plotted(sum(map(sine, (261.63, 329.63, 392.0))) / 3, sample_rate=RATE, lanes="chroma")
    values = np.asarray(figure.axes[0].images[0].get_array())
    column = values[:, values.shape[1] // 2]
    labels = [text.get_text() for text in figure.axes[0].get_yticklabels()]
    assert {labels[row] for row in np.argsort(column)[-3:]} == {"C", "E", "G"}


def test_lines_stand_on_the_beats(song: Path) -> None:
    lines: Any = next(
        c for c in plotted(song, lanes="tempo").axes[0].collections if c.get_gid() == "marks:beats"
    )
    places = [segment[0][0] for segment in lines.get_segments()]
    beats = qelaudio.read(song, "beats").beats
    assert beats is not None and len(places) > 8
    np.testing.assert_array_equal(places, beats.times)


def test_lines_that_would_be_too_dense_are_left_out(song: Path) -> None:
    figure = Figure(figsize=(0.5, 1))
    qelaudio.plot_song(song, lanes="tempo", figure=figure)
    assert [c.get_gid() for c in figure.axes[0].collections] == ["marks:downBeats"]


def test_curves_are_those_of_the_readings(song: Path) -> None:
    tempo = qelaudio.read(song, "running_tempo").running_tempo
    assert tempo is not None
    line = plotted(song, lanes="tempo").axes[0].lines[0]
    shown = np.isfinite(tempo.bpm) & (tempo.bpm != 0)
    assert shown.any()
    np.testing.assert_array_equal(np.asarray(line.get_ydata())[shown], tempo.bpm[shown])
    times = tempo.hop_seconds * (1 + np.arange(len(tempo.bpm)))
    np.testing.assert_allclose(np.asarray(line.get_xdata()), times)


def test_the_waveform_reaches_its_extremes(song: Path) -> None:
    filled = plotted(song, lanes="waveform").axes[0].collections[0]
    band = np.asarray(filled.get_paths()[0].vertices)
    samples = music(RATE, 8)[0]
    # Its extremes are 16-bit integers, and so are those of the page.
    assert band[:, 1].max() == pytest.approx(samples.max(), abs=2 / 32767)
    assert band[:, 1].min() == pytest.approx(samples.min(), abs=2 / 32767)


def test_a_stretch_is_shown_alone(song: Path) -> None:
    assert plotted(song, lanes="keys", begin=2, end=5).axes[0].get_xlim() == (2, 5)
    with pytest.raises(qelaudio.Error, match="no stretch from 5 s to 2 s in a song of 8.000 s"):
        plotted(song, begin=5, end=2)


def test_few_columns_keep_the_greatest_value(data: _pages.PageData) -> None:
    fine = data.image("spectrogram", 0, 8, 100000)
    coarse = data.image("spectrogram", 0, 8, 50)
    assert coarse.values.shape[1] <= 50
    np.testing.assert_array_equal(coarse.values.max(axis=1), fine.values.max(axis=1))
    assert coarse.begin == fine.begin
    # The last column may reach beyond the end, by less than itself.
    assert 0 <= coarse.end - fine.end < (coarse.end - coarse.begin) / coarse.values.shape[1]


def test_silence_and_a_moment_can_be_drawn() -> None:
    for samples in (np.zeros(2 * RATE, np.float32), np.full(1, 0.5, np.float32)):
        assert len(plotted(samples, sample_rate=RATE).axes) == 7


def test_an_empty_lane_says_why(song: Path) -> None:
    figure = plotted(np.zeros(2 * RATE, np.float32), sample_rate=RATE)
    told = {axis.get_title(loc="left").split(" (")[0]: [t.get_text() for t in axis.texts] for axis in figure.axes}
    assert told["Keys"] == ["no key was found"]
    assert told["Tempo"] == ["no tempo was found"]
    assert told["Loudness"] == ["silence, or shorter than 0.4 s"]
    assert all("found" not in text.get_text() for axis in plotted(song).axes for text in axis.texts)


@pytest.mark.parametrize("width", [1, 101, float("nan")])
def test_a_width_that_no_picture_has_is_refused(song: Path, width: float) -> None:
    with pytest.raises(qelaudio.Error, match="width must be 3 to 100 inches, not "):
        qelaudio.plot_song(song, width=width)


def test_hues_follow_the_circle_of_fifths_whatever_the_spelling() -> None:
    assert _axes.key_hue("A# major") == _axes.key_hue("Bb major")
    assert _axes.key_hue("A minor") == _axes.key_hue("C major")
    assert (_axes.key_hue("G major") - _axes.key_hue("C major")) % 1 == pytest.approx(1 / 12)
    assert _axes.key_text("Bb major") == "B♭ major"


def test_the_tool_draws_with_the_package(song: Path, tmp_path: Path) -> None:
    # What lies beside the songs is not run.
    (tmp_path / "numpy.py").write_text("raise SystemExit('was run')")
    command = [os.environ["QEL_TOOL"], "plot", "--python", sys.executable, str(song), "--dpi", "40"]
    command += ["--lanes", "waveform,keys", "--output", "new/a.png"]
    done = subprocess.run(command, cwd=tmp_path, capture_output=True, text=True, check=False)
    assert (done.returncode, done.stderr) == (0, "")
    assert Image.open(tmp_path / "new/a.png").width == 12 * 40


@pytest.mark.parametrize(
    ("name", "begins"), [("a.png", b"\x89PNG"), ("a.svg", b"<?xml"), ("a.PDF", b"%PDF")]
)
def test_the_same_picture_is_written_again(
    song: Path, tmp_path: Path, name: str, begins: bytes
) -> None:
    once = [str(song), "--lanes", "keys", "--dpi", "40", "--output", str(tmp_path / name)]
    assert plot.main(once) == 0
    first = (tmp_path / name).read_bytes()
    assert first.startswith(begins)
    assert plot.main([*once, "--overwrite"]) == 0
    assert (tmp_path / name).read_bytes() == first
    assert [path.name for path in tmp_path.iterdir()] == [name]


def test_a_picture_goes_where_a_link_leads(
    song: Path, tmp_path: Path, capsys: pytest.CaptureFixture[str]
) -> None:
    (tmp_path / "kept.png").write_bytes(b"old")
    (tmp_path / "link.png").symlink_to("kept.png")
    once = [str(song), "--overwrite", "--lanes", "waveform", "--output"]
    assert plot.main([*once, str(tmp_path / "link.png")]) == 0
    assert (tmp_path / "link.png").is_symlink()
    assert (tmp_path / "kept.png").read_bytes().startswith(b"\x89PNG")
    (tmp_path / "full.png").symlink_to("/dev/full")
    assert plot.main([*once, str(tmp_path / "full.png")]) == 1
    assert "No space left on device" in capsys.readouterr().err


def test_a_picture_stays_without_overwrite_and_an_input_always(
    song: Path, tmp_path: Path, capsys: pytest.CaptureFixture[str]
) -> None:
    (tmp_path / "a.png").write_text("mine")
    assert plot.main([str(song), "--output", str(tmp_path / "a.png")]) == 1
    assert "a.png exists already; --overwrite replaces it\n" in capsys.readouterr().err
    (tmp_path / "b.png").symlink_to(song)
    assert plot.main([str(song), "--overwrite", "--output", str(tmp_path / "b.png")]) == 1
    assert capsys.readouterr().err.endswith("b.png is the input\n")


@pytest.mark.parametrize(
    ("arguments", "message"),
    [
        (["--output", "a.gif"], "qel: a.gif: the name must end with .png, .svg or .pdf"),
        (["--output", "a.png", "--lanes", "x"], 'qel: no lane "x"; there are waveform, '),
        (["--output", "a.png", "--width", "1"], "qel: --width must be 3 to 100, not 1"),
        (["--output", "a.png", "--begin", "9"], "qel: no stretch from 9 s to 8 s"),
    ],
)
def test_refusals_take_one_line(
    song: Path,
    tmp_path: Path,
    monkeypatch: pytest.MonkeyPatch,
    capsys: pytest.CaptureFixture[str],
    arguments: list[str],
    message: str,
) -> None:
    monkeypatch.chdir(tmp_path)
    assert plot.main([str(song), *arguments]) == 1
    said = capsys.readouterr().err
    assert said.startswith(message) and said.count("\n") == 1
    assert list(tmp_path.iterdir()) == []


def test_a_file_that_cannot_be_read_is_named(
    tmp_path: Path, capsys: pytest.CaptureFixture[str]
) -> None:
    (tmp_path / "no.wav").write_text("no audio")
    assert plot.main([str(tmp_path / "no.wav"), "--output", str(tmp_path / "a.png")]) == 1
    said = capsys.readouterr().err
    assert said.startswith(f"qel: {tmp_path / 'no.wav'}: ") and said.count("\n") == 1


@pytest.fixture(scope="module")
def template(folder: Path) -> Path:
    file = folder / "template.html"
    file.write_text("<html><p>&amp;</p><!-- qel: data --></html>")
    return file


def test_a_report_is_the_page_of_the_tool(song: Path, template: Path, folder: Path) -> None:
    page = qelaudio.report(song, template=template)
    target = folder / "page.html"
    tool = os.environ["QEL_TOOL"]
    subprocess.run([tool, "report", song, "--template", template, "--output", target], check=True)
    assert page.html == target.read_text(encoding="utf-8")


def test_a_report_shows_itself_in_a_frame(song: Path, template: Path) -> None:
    report = qelaudio.report(song, template=template, audio=False, height=500)
    frame = re.fullmatch(
        r'<iframe srcdoc="([^"]*)" title="song.wav, 8.0 s" width="100%" height="500" '
        r'style="border: 0"></iframe>',
        report._repr_html_(),
    )
    assert frame and html.unescape(frame[1]) == report.html
    assert repr(report).startswith("Report('song.wav, 8.0 s', ")
    assert 'id="qel:audio' not in report.html


def test_a_report_is_saved_once(song: Path, template: Path, tmp_path: Path) -> None:
    report = qelaudio.report(song, template=template, audio=False)
    path = report.save(tmp_path / "page.html")
    assert path.read_text(encoding="utf-8") == report.html
    with pytest.raises(FileExistsError):
        report.save(path)
    report.save(path, overwrite=True)


def test_a_report_of_an_array_has_its_name_and_its_samples(template: Path) -> None:
    samples = music(RATE, 2, 2)
    data = _pages.PageData(
        qelaudio.report(samples, sample_rate=RATE, name="a/b", template=template).html.encode()
    )
    assert (data.song["name"], data.song["channels"], data.song["seconds"]) == ("a_b", 2, 2)
    peak = samples.mean(axis=0).max()
    assert data.array("waveform:greatest", "<i2").max() == pytest.approx(peak * 32767, abs=1)


def test_what_cannot_be_shown_is_told(template: Path, tmp_path: Path) -> None:
    with pytest.raises(qelaudio.Error, match="no template of the page"):
        qelaudio.report(sine(440), sample_rate=RATE, template=tmp_path / "none.html")
    (tmp_path / "empty.html").write_text("<html></html>")
    with pytest.raises(qelaudio.Error, match="is no template of the page"):
        qelaudio.report(sine(440), sample_rate=RATE, template=tmp_path / "empty.html")
    with pytest.raises(qelaudio.FileError) as raised:
        qelaudio.report(tmp_path / "none.wav", template=template)
    assert raised.value.fault == "unreadable"
    with pytest.raises(qelaudio.Error, match="sample_rate must be a whole number"):
        qelaudio.report(sine(440), sample_rate=44100.5, template=template)
    with pytest.raises(qelaudio.Error, match="no samples"):
        qelaudio.plot_song(np.zeros(0, np.float32), sample_rate=RATE)
    with pytest.raises(qelaudio.Error, match="has 44100 Hz, not 48000"):
        qelaudio.plot_song(write_wav(tmp_path / "a.wav", music(RATE, 1), RATE), sample_rate=48000)
