"""Results: shapes, names, times, tables, drawings."""

from __future__ import annotations

import matplotlib

matplotlib.use("Agg")

import numpy as np
import pytest
from conftest import music

import qelaudio

RATE = 44100
KEYS = list(qelaudio.keys())


@pytest.fixture(scope="module")
def analysis() -> qelaudio.Analysis:
    return qelaudio.analyze(music(RATE, 6, 2), KEYS, sample_rate=RATE, mix="keep")


@pytest.mark.parametrize("key", KEYS)
def test_shapes_are_those_of_the_table(analysis: qelaudio.Analysis, key: str) -> None:
    result, row = analysis[key], qelaudio.keys()[key]
    assert (result.channels, result.sample_rate) == (2, RATE)
    if isinstance(result, qelaudio.Feature):
        assert result.values.dtype == np.float32
        assert result.values.shape == (2, len(result.start_times), row.size)
        assert result.values.flags.c_contiguous
    elif isinstance(result, qelaudio.Names):
        assert [len(names) for names in result.values] == [len(result)] * 2
        assert all(isinstance(name, str) for name in result.values[1])
    elif isinstance(result, qelaudio.Partials):
        assert result.offsets.shape == (2, len(result) + 1)
        assert result.offsets[-1, -1] == len(result.frequency) == len(result.bin)
        assert result.offsets[1, 0] == result.offsets[0, -1]
    else:
        assert result.offsets.shape == (3,)
        assert result.offsets[-1] == len(result.times) == len(result.strengths)


def test_times_are_starts_and_centres_of_frames(analysis: qelaudio.Analysis) -> None:
    for key in ("spectrum", "mfcc", "cepstrum", "tempo", "chroma", "reassigned spectrum"):
        result = analysis[key]
        assert np.allclose(result.start_times, np.arange(len(result)) * result.hop / RATE)
        assert np.allclose(result.centre_times - result.start_times, result.frame / 2 / RATE)
        assert result.times is result.start_times


def test_times_of_blocks_are_those_of_their_samples() -> None:
    result = qelaudio.analyze(
        np.zeros(2500, np.float32), "temporal properties", sample_rate=1000, block=1000
    )["temporal properties"]
    assert result.start_times.tolist() == [0, 1, 2]
    assert result.centre_times.tolist() == [0.5, 1.5, 2.25]


def test_the_centre_of_a_whole_stream_is_its_middle(analysis: qelaudio.Analysis) -> None:
    tempo = analysis["global tempo"]
    assert (tempo.start_times.tolist(), tempo.centre_times.tolist()) == ([0], [3])


def test_values_have_names(analysis: qelaudio.Analysis) -> None:
    generic = analysis["generic spectrum properties"]
    for index, name in enumerate(generic.names):
        assert np.array_equal(generic[name], generic.values[:, :, index], equal_nan=True)
        assert np.shares_memory(generic[name], generic.values)
    with pytest.raises(qelaudio.Error, match="spectrum centroid|it has"):
        generic["loudness"]


def test_an_index_gets_a_hint(analysis: qelaudio.Analysis) -> None:
    for index in (0, (0, 3), slice(None)):
        with pytest.raises(TypeError, match=r"use \.values\["):
            analysis["chroma"][index]
    with pytest.raises(TypeError, match="not iterable"):
        iter(analysis["chroma"])


def test_complex_numbers_are_views(analysis: qelaudio.Analysis) -> None:
    spectrum = analysis["spectrum"]
    assert spectrum.complex.shape == (2, len(spectrum), 512)
    assert np.shares_memory(spectrum.complex, spectrum.values)
    assert np.array_equal(spectrum["spectrum real data"], spectrum.complex.real)
    assert np.array_equal(spectrum["spectrum imaginary data"], spectrum.complex.imag)
    with pytest.raises(qelaudio.Error, match="no complex"):
        analysis["mfcc"].complex


def test_a_vector_has_one_name_for_all_places(analysis: qelaudio.Analysis) -> None:
    chroma = analysis["chroma"]
    assert chroma["pitch class profile"] is chroma.values
    assert analysis["tempo"]["tempo"].shape == (2, len(analysis["tempo"]))


def test_partials_of_a_frame_are_views(analysis: qelaudio.Analysis) -> None:
    partials = analysis["partials"]
    tracks = partials.at(100, 1)
    assert tracks["frequency"].size > 0
    assert set(tracks["frame_number"]) == {100}
    assert np.shares_memory(tracks["frequency"], partials.frequency)
    for frame, channel in ((-1, 0), (len(partials), 0), (0, 2)):
        with pytest.raises(qelaudio.Error, match="no "):
            partials.at(frame, channel)


def test_events_ascend_in_each_channel(analysis: qelaudio.Analysis) -> None:
    onsets = analysis["onsets"]
    for channel in range(2):
        times, strengths = onsets.channel(channel)
        assert len(times) == len(strengths) > 5
        assert np.all(np.diff(times) > 0)
    with pytest.raises(qelaudio.Error):
        onsets.channel(2)


def test_an_unknown_or_absent_key_is_a_key_error(analysis: qelaudio.Analysis) -> None:
    with pytest.raises(KeyError, match="did you mean"):
        analysis["chromas"]
    with pytest.raises(KeyError, match="no results of"):
        qelaudio.analyze(np.zeros(5000), "mfcc", sample_rate=RATE)["chroma"]
    assert "chroma" in analysis and "nothing" not in analysis


@pytest.mark.parametrize("key", KEYS)
def test_a_key_becomes_a_table(analysis: qelaudio.Analysis, key: str) -> None:
    result = analysis[key]
    table = result.to_pandas()
    assert set(table["channel"]) <= {0, 1}
    if isinstance(result, qelaudio.Feature):
        assert len(table) == 2 * len(result)
        flat = result.values.reshape(-1, result.key.size)
        assert np.array_equal(table.iloc[:, 3:].to_numpy(), flat, equal_nan=True)
        assert table["time"].tolist() == 2 * result.start_times.tolist()
    elif isinstance(result, qelaudio.Names):
        assert table[result.names[0]].tolist() == result.values[0] + result.values[1]
    elif isinstance(result, qelaudio.Partials):
        assert np.array_equal(table["frequency"], result.frequency)
        frame = result.frame_number * result.hop / RATE
        assert np.allclose(table["time"], frame)
    else:
        assert np.array_equal(table["time"], result.times)


@pytest.mark.parametrize("key", KEYS)
def test_a_key_becomes_a_labelled_array(analysis: qelaudio.Analysis, key: str) -> None:
    result = analysis[key]
    labelled = result.to_xarray()
    assert labelled.attrs["sample_rate"] == RATE
    if isinstance(result, qelaudio.Feature):
        assert labelled[key].dims == ("channel", "time", "value")
        assert np.array_equal(labelled[key].to_numpy(), result.values, equal_nan=True)
        assert labelled["time"].attrs["unit"] == "s"


@pytest.mark.parametrize("key", KEYS)
def test_a_key_is_drawn(analysis: qelaudio.Analysis, key: str) -> None:
    from matplotlib import pyplot

    axes = analysis[key].plot(channel=1)
    assert axes.get_title() == qelaudio.keys()[key].name
    assert axes.has_data()
    pyplot.close(axes.figure)


def test_a_single_point_is_drawn_as_a_dot(analysis: qelaudio.Analysis) -> None:
    from matplotlib import pyplot

    for key in ("global tempo", "global key"):
        axes = analysis[key].plot()
        assert all(line.get_marker() == "o" for line in axes.get_lines())
        pyplot.close(axes.figure)


def test_spectra_are_drawn_in_decibels(analysis: qelaudio.Analysis) -> None:
    from matplotlib import pyplot

    axes = analysis["spectrum"].plot()
    drawn = axes.get_images()[0].get_array()
    magnitudes = np.abs(analysis["spectrum"].complex[0])
    assert (drawn.max(), drawn.min()) == (0, pytest.approx(-80))
    frame, place = np.unravel_index(magnitudes.argmax(), magnitudes.shape)
    assert drawn[place, frame] == 0
    half = np.argmin(np.abs(magnitudes[frame] - magnitudes.max() / 2))
    expected = 20 * np.log10(magnitudes[frame, half] / magnitudes.max())
    assert drawn[half, frame] == pytest.approx(expected, abs=1e-3)
    pyplot.close(axes.figure)


@pytest.mark.parametrize("key", KEYS)
def test_a_notebook_shows_a_small_table(analysis: qelaudio.Analysis, key: str) -> None:
    shown = analysis[key]._repr_html_()
    assert shown.startswith("<table>") and key in shown and len(shown) < 1500
    assert len(repr(analysis[key])) < 200


def test_one_channel_is_not_several() -> None:
    mono = np.zeros(1024, np.float32)
    keys = ["spectrum flux properties", "dominant key"]
    one = qelaudio.analyze(mono, keys, sample_rate=RATE)
    two = qelaudio.analyze(np.stack([mono, mono]), keys, sample_rate=RATE, mix="keep")
    assert repr(one) == f"<Analysis: {1024 / RATE:.3f} s, 1 channel, {', '.join(keys)}>"
    assert repr(one[keys[0]]).endswith(": 1 channel, 1 frame, 2 values>")
    assert repr(two[keys[0]]).endswith(": 2 channels, 1 frame, 2 values>")
    assert repr(two[keys[1]]).endswith(": 2 channels, 0 names>")
    assert " 1 channel, " in one._repr_html_() and " 2 channels, " in two._repr_html_()


def test_a_notebook_shows_all_keys(analysis: qelaudio.Analysis) -> None:
    shown = analysis._repr_html_()
    assert all(key in shown for key in KEYS)
    assert "6.000 s" in shown


def test_events_are_arrays_of_times(analysis: qelaudio.Analysis) -> None:
    onsets = analysis["onsets"]
    assert np.array_equal(np.asarray(onsets), onsets.times)
    assert np.asarray(onsets, np.float32).dtype == np.float32
    assert np.array_equal(np.diff(onsets), np.diff(onsets.times))


def test_numbers_of_bins_have_frequencies(analysis: qelaudio.Analysis) -> None:
    spectrum = analysis["spectrum"].frequencies
    assert (len(spectrum), spectrum[0], spectrum[1]) == (512, 0, RATE / 1024)
    constant_q = analysis["constant q spectrum"].frequencies
    assert np.allclose(constant_q[[0, 36, 211]], [90, 180, 90 * 2 ** (211 / 36)])
    # The definition names the centre of the last band: 4580 Hz at 44100 Hz.
    assert analysis["gammatone"].frequencies[35] == pytest.approx(4580, abs=5)
    assert analysis["mel spectrum"].frequencies[-1] == 2047 * RATE / 4096
    assert analysis["chroma"].frequencies is None


def test_pictures_of_spectra_have_axes_in_hertz(analysis: qelaudio.Analysis) -> None:
    spectrum = analysis["spectrum"].plot()
    assert spectrum.get_ylabel().startswith("Hz")
    low, high = spectrum.get_ylim()
    assert (low, high) == pytest.approx((-0.5 * RATE / 1024, 511.5 * RATE / 1024))
    bands = analysis["constant q spectrum"].plot()
    labels = [label.get_text() for label in bands.get_yticklabels()]
    rows = bands.get_yticks()
    assert labels == [f"{90 * 2 ** (row / 36):.0f}" for row in rows] and len(rows) > 4
    assert bands.get_ylabel().startswith("Hz")
