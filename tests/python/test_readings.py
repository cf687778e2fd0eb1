"""Readings equal those of the tool."""

from __future__ import annotations

import json
import os
import subprocess
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from conftest import as_int16, music, write_wav

import qelaudio

RATE = 44100
SECONDS = 12
LISTS = ["--beats", "--onsets", "--key-segments", "--pitch"]


@pytest.fixture(scope="module")
def samples() -> Any:
    return as_int16(music(RATE, SECONDS, 2))


@pytest.fixture(scope="module")
def path(folder: Path) -> Path:
    return write_wav(folder / "read.wav", music(RATE, SECONDS, 2), RATE)


@pytest.fixture(scope="module")
def told(path: Path) -> dict[str, Any]:
    command = [os.environ["QEL_TOOL"], "read", str(path), "--format", "json", "--quiet", *LISTS]
    text = subprocess.run(command, capture_output=True, check=True).stdout
    entry: dict[str, Any] = json.loads(text)["files"][0]
    return entry


@pytest.fixture(scope="module", params=["path", "array", "blocks"])
def readings(path: Path, samples: Any, request: pytest.FixtureRequest) -> qelaudio.Readings:
    if request.param == "path":
        return qelaudio.read(path)
    if request.param == "array":
        return qelaudio.read(samples, sample_rate=RATE)
    pieces = np.array_split(samples, 77, axis=1)
    return qelaudio.read(iter(pieces), sample_rate=RATE)


def as_told(value: float | None, digits: int) -> float | None:
    """The tool rounds its numbers."""
    return None if value is None else round(float(value), digits)


def test_single_answers_are_those_of_the_tool(
    readings: qelaudio.Readings, told: dict[str, Any]
) -> None:
    assert readings.tempo and readings.bars and readings.key
    assert readings.loudness and readings.bandwidth
    assert readings.seconds == SECONDS == told["length_seconds"]
    assert readings.channels == told["channels"] == 2
    assert as_told(readings.tempo.bpm, 3) == told["tempo_bpm"] > 0
    assert as_told(readings.tempo.alternative_bpm, 3) == (told["tempo_alternative_bpm"] or 0)
    assert readings.tempo.is_steady == told["tempo_is_steady"]
    assert as_told(readings.tempo.strength, 3) == told["tempo_strength"]
    assert readings.bars.beats_per_bar == (told["beats_per_bar"] or 0)
    assert (readings.key.main.name, readings.key.runner_up.name) == (
        told["key"],
        told["key_runner_up"],
    )
    assert as_told(readings.loudness.integrated_lufs, 2) == told["loudness_lufs"]
    assert as_told(readings.loudness.range_lu, 2) == told["loudness_range_lu"]
    assert as_told(readings.loudness.true_peak_dbtp, 2) == told["true_peak_dbtp"]
    assert as_told(readings.loudness.sample_peak_dbfs, 2) == told["sample_peak_dbfs"]
    assert as_told(readings.bandwidth.cutoff_hz, 0) == told["bandwidth_hz"]


def test_lists_are_those_of_the_tool(readings: qelaudio.Readings, told: dict[str, Any]) -> None:
    assert readings.beats and readings.onsets and readings.key and readings.pitch
    assert len(readings.beats) > 15 and len(readings.onsets) > 15
    assert readings.beats.times.round(6).tolist() == [beat["seconds"] for beat in told["beats"]]
    assert readings.beats.positions.tolist() == [beat["position"] or 0 for beat in told["beats"]]
    assert readings.onsets.times.round(6).tolist() == [o["seconds"] for o in told["onsets"]]
    assert [segment.key.name for segment in readings.key.segments] == [
        segment["key"] for segment in told["key_segments"]
    ]
    assert readings.pitch.times.round(6).tolist() == [p["seconds"] for p in told["pitch"]]
    assert readings.pitch.is_voiced.tolist() == [
        p["frequency_hz"] is not None for p in told["pitch"]
    ]
    assert [note for note in readings.pitch.notes.tolist() if note != -1] == [
        p["midi_note"] for p in told["pitch"] if p["midi_note"] is not None
    ]


def test_frames_have_arrays(readings: qelaudio.Readings) -> None:
    assert readings.mfcc and readings.running_tempo and readings.pitch
    assert readings.mfcc.values.shape == (len(readings.mfcc), 13)
    assert len(readings.mfcc) * readings.mfcc.hop_seconds == pytest.approx(SECONDS, abs=0.2)
    assert readings.running_tempo.bpm.ndim == 1
    assert np.all(np.abs(readings.pitch.cents) <= 50)


def test_all_ways_give_the_same_bits(readings: qelaudio.Readings, path: Path) -> None:
    other = qelaudio.read(path)
    assert readings.mfcc and other.mfcc and readings.onsets and other.onsets
    assert np.array_equal(readings.mfcc.values, other.mfcc.values)
    assert np.array_equal(readings.onsets.strengths, other.onsets.strengths)
    assert (readings.tempo, readings.loudness) == (other.tempo, other.loudness)


def test_only_what_is_asked_for_is_read(path: Path) -> None:
    readings = qelaudio.read(path, "loudness")
    assert readings.loudness is not None
    assert (readings.tempo, readings.beats, readings.mfcc) == (None, None, None)


def test_the_settings_of_mfcc_act(path: Path) -> None:
    settings = qelaudio.MfccSettings(n_mfcc=20, n_mels=64, htk=True)
    mfcc = qelaudio.read(path, ["mfcc"], mfcc=settings).mfcc
    assert mfcc is not None and mfcc.values.shape[1] == 20


@pytest.mark.parametrize(
    "settings",
    [
        qelaudio.MfccSettings(n_mfcc=0),
        qelaudio.MfccSettings(n_mels=-3),
        qelaudio.MfccSettings(fmin=-1),
        qelaudio.MfccSettings(fmin=9000, fmax=100),
    ],
)
def test_settings_out_of_range_are_refused(path: Path, settings: qelaudio.MfccSettings) -> None:
    with pytest.raises(qelaudio.Error) as raised:
        qelaudio.read(path, "mfcc", mfcc=settings)
    assert raised.value.status == qelaudio.STATUS_BAD_FORMAT


def test_silence_has_no_loudness() -> None:
    readings = qelaudio.read(np.zeros(RATE * 2), ["loudness", "tempo"], sample_rate=RATE)
    assert readings.loudness == qelaudio.Loudness(None, None, None, None)
    assert readings.tempo is not None and readings.tempo.bpm == 0


@pytest.mark.parametrize("readings", ["tempos", [], ["tempo", "x"]])
def test_unknown_readings_are_refused(readings: Any) -> None:
    with pytest.raises(qelaudio.Error, match="there are tempo") as raised:
        qelaudio.read(np.zeros(RATE), readings, sample_rate=RATE)
    assert raised.value.status == qelaudio.STATUS_UNKNOWN


def test_a_rate_below_the_readings_is_refused() -> None:
    with pytest.raises(qelaudio.Error, match="8000 Hz or more"):
        qelaudio.read(np.zeros(RATE), sample_rate=7999)


def test_readings_are_shown_with_the_lengths_of_their_lists(readings: qelaudio.Readings) -> None:
    assert readings.beats and readings.onsets and readings.running_tempo
    assert repr(readings.beats).startswith(f"Beats({len(readings.beats)} entries, grid=")
    assert repr(readings.onsets) == f"Onsets({len(readings.onsets)} entries)"
    assert len(readings.running_tempo) == len(readings.running_tempo.bpm)
    shown = readings._repr_html_()
    assert shown.startswith("<table>") and repr(readings.onsets) in shown
    assert "warnings" not in shown and len(shown) < 3000


def test_momentary_loudness_is_that_of_the_last_400_ms() -> None:
    # ITU-R BS.1770: a sine of 997 Hz in one channel has its level less 3.01 LU, here 20 lg 0.5.
    tone = 0.5 * np.sin(2 * np.pi * 997 * np.arange(2 * RATE) / RATE)
    audio = np.concatenate([tone, np.zeros(RATE)])
    loudness = qelaudio.read(audio, "loudness", sample_rate=RATE).loudness
    assert loudness is not None
    momentary = loudness.momentary_lufs
    assert (loudness.momentary_hop_seconds, len(momentary)) == (0.1, 30)
    assert momentary[4:20] == pytest.approx(20 * np.log10(0.5) - 3.01, abs=0.05)
    assert momentary[25] < -60 and momentary.dtype == np.float32


def test_answers_become_json(readings: qelaudio.Readings) -> None:
    plain = json.loads(json.dumps(readings.to_dict(), allow_nan=False))
    assert readings.beats and readings.tempo and readings.key and readings.mfcc
    assert plain["tempo"]["bpm"] == readings.tempo.bpm
    assert plain["beats"]["times"] == readings.beats.times.tolist()
    assert plain["key"]["main"]["name"] == readings.key.main.name
    assert np.array_equal(np.array(plain["mfcc"]["values"], np.float32), readings.mfcc.values)
    assert readings.tempo.to_dict() == plain["tempo"]


def test_what_is_not_finite_or_not_asked_for_is_null() -> None:
    silence = qelaudio.read(np.zeros(RATE), "loudness", sample_rate=RATE)
    plain = json.loads(json.dumps(silence.to_dict(), allow_nan=False))
    assert plain["loudness"]["integrated_lufs"] is None
    assert plain["loudness"]["momentary_lufs"] == [None] * 10
    assert plain["tempo"] is None


def test_answers_become_tables(readings: qelaudio.Readings) -> None:
    assert readings.beats and readings.pitch and readings.mfcc and readings.tempo and readings.key
    table = readings.beats.to_pandas()
    assert list(table) == ["times", "strengths", "positions"]
    assert np.array_equal(table["times"], readings.beats.times)
    assert len(readings.pitch.to_pandas()) == len(readings.pitch)
    assert np.array_equal(readings.mfcc.to_pandas()["mfcc_12"], readings.mfcc.values[:, 12])
    row = readings.to_pandas()
    assert len(row) == 1
    assert row["tempo_bpm"][0] == readings.tempo.bpm
    assert row["key_main"][0] == readings.key.main.name
    assert "beats_times" not in row


def test_lists_are_arrays(readings: qelaudio.Readings) -> None:
    assert readings.beats and readings.mfcc and readings.onsets
    assert np.array_equal(np.asarray(readings.beats), readings.beats.times)
    assert np.array_equal(np.asarray(readings.onsets), readings.onsets.times)
    assert np.asarray(readings.mfcc).shape == readings.mfcc.values.shape


def test_the_text_of_readings_is_short(readings: qelaudio.Readings) -> None:
    assert len(repr(readings)) < 160 and "running_tempo" in repr(readings)
