"""Every key gives the tool's numbers, whichever way the samples come."""

from __future__ import annotations

import functools
from collections.abc import Iterator
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from agreement import assert_same
from conftest import as_int16, music, tool_json, write_wav

import qelaudio

KEYS = list(qelaudio.keys())
# Their JSON is long: a shorter recording is enough for them, while a meter needs a longer one.
BULKY = ["spectrum", "mel spectrum", "instantaneous frequency", "reasigned spectrum"]
SLENDER = [key for key in KEYS if key not in BULKY]


class Case:
    """One recording, and the ways to its results."""

    def __init__(
        self,
        folder: Path,
        rate: int,
        channels: int,
        seconds: float,
        block: int = 4096,
        keys: list[str] = KEYS,
    ) -> None:
        self.rate, self.block, self.keys = rate, block, keys
        self.path = folder / f"{rate}-{channels}-{seconds}-{block}.wav"
        samples = music(rate, seconds, channels)
        write_wav(self.path, samples, rate)
        self.integers = as_int16(samples)

    @functools.cached_property
    def tool(self) -> dict[str, Any]:
        options = ["--mix", "keep", "--block", str(self.block), "--keys", ",".join(self.keys)]
        return tool_json(self.path, *options)

    def of_path(self) -> qelaudio.Analysis:
        return qelaudio.analyze(self.path, self.keys, mix="keep", block=self.block)

    def of_array(self) -> qelaudio.Analysis:
        return qelaudio.analyze(
            self.integers, self.keys, sample_rate=self.rate, mix="keep", block=self.block
        )

    def pieces(self) -> Iterator[np.ndarray[Any, Any]]:
        """Of changing lengths, 0 and longer than a block among them."""
        random = np.random.default_rng(3)
        at = 0
        while at < self.integers.shape[1]:
            size = int(random.choice([0, 1, 511, 4096, 5000, 20000]))
            yield self.integers[:, at : at + size]
            at += size

    def of_blocks(self) -> qelaudio.Analysis:
        return qelaudio.analyze(
            self.pieces(), self.keys, sample_rate=self.rate, mix="keep", block=self.block
        )


@pytest.fixture(scope="module")
def cases(folder: Path) -> list[Case]:
    return [Case(folder, 44100, 2, 6, keys=SLENDER), Case(folder, 44100, 2, 0.8, keys=BULKY)]


Results = dict[str, tuple[qelaudio.Result, dict[str, Any]]]


@pytest.fixture(scope="module", params=["path", "array", "blocks"])
def results(cases: list[Case], request: pytest.FixtureRequest) -> Results:
    """Ours and the tool's, by key."""
    found = {}
    for case in cases:
        ways = {"path": case.of_path, "array": case.of_array, "blocks": case.of_blocks}
        for key, result in ways[request.param]().items():
            found[key] = (result, case.tool["keys"][key])
    return found


@pytest.mark.parametrize("key", KEYS)
def test_a_key_gives_the_numbers_of_the_tool(results: Results, key: str) -> None:
    assert_same(*results[key])


def test_the_recordings_have_results_of_every_key(results: Results) -> None:
    assert [key for key, (_, entry) in results.items() if not entry["values"]] == []


def test_pushes_give_together_what_one_call_gives(folder: Path) -> None:
    case = Case(folder, 44100, 2, 2.5)
    length = case.integers.shape[1]
    came: dict[str, list[Any]] = {key: [] for key in KEYS}
    with qelaudio.Analyzer(KEYS, case.rate, 2, length=length) as analyzer:
        for piece in case.pieces():
            for key, result in analyzer.push(piece).items():
                came[key].append(result)
        for key, result in analyzer.finish().items():
            came[key].append(result)
    whole = case.of_array()
    for key, results in came.items():
        if isinstance(whole[key], qelaudio.Feature):
            joined = np.concatenate([result.values for result in results], axis=1)
            assert np.array_equal(joined, whole[key].values, equal_nan=True), key
        elif isinstance(whole[key], qelaudio.Names):
            assert [sum((r.values[c] for r in results), []) for c in range(2)] == whole[key].values
        times = np.concatenate([result.start_times for result in results])
        assert np.array_equal(times, whole[key].start_times), key


@pytest.mark.parametrize("rate", [8000, 22050, 48000, 96000, 192000])
def test_rates_agree_with_the_tool(folder: Path, rate: int) -> None:
    case = Case(folder, rate, 1, 20000 / rate + 0.2)
    analysis = case.of_array()
    for key in KEYS:
        assert_same(analysis[key], case.tool["keys"][key])


@pytest.mark.parametrize("block", [512, 8192])
def test_blocks_of_other_sizes_agree_with_the_tool(folder: Path, block: int) -> None:
    keys = ["temporal properties", "onset data", "audio range", "cepstrum"]
    case = Case(folder, 44100, 1, 2.2, block, keys)
    analysis = qelaudio.analyze(case.integers, keys, sample_rate=case.rate, block=block)
    for key in analysis:
        assert_same(analysis[key], case.tool["keys"][key])


def test_the_mean_of_the_channels_is_that_of_the_tool(folder: Path) -> None:
    case = Case(folder, 44100, 3, 1)
    entry = tool_json(case.path, "--keys", "spectrum", "--mix", "mono")
    for source, rate in ((case.integers, 44100), (case.path, None)):
        assert_same(
            qelaudio.analyze(source, "spectrum", sample_rate=rate)["spectrum"],
            entry["keys"]["spectrum"],
        )


def test_parameters_act_as_those_of_the_tool(folder: Path) -> None:
    case = Case(folder, 44100, 1, 6)
    values = {"Genre Hint": 0.0, "Onset Sensitivity": 100.0, "complexity": 1.0, "Min BPM": 60.0}
    options = [f"--param={name}={value:g}" for name, value in values.items()]
    keys = ["tempo", "global tempo", "onset data"]
    entry = tool_json(case.path, "--keys", ",".join(keys), *options)
    analysis = qelaudio.analyze(case.path, keys, parameters=values)
    for key in keys:
        assert_same(analysis[key], entry["keys"][key])
    plain = qelaudio.analyze(case.path, keys)
    assert len(plain["onsets"]) != len(analysis["onsets"])


def test_a_stream_without_a_tempo_has_missing_keys() -> None:
    keys = ["global tempo", "beats", "onsets", "audio range"]
    silence = np.zeros(44100 * 3, np.float32)
    analysis = qelaudio.analyze(silence, keys, sample_rate=44100)
    assert {"global tempo", "beat data"} <= set(analysis.missing)
    assert analysis["global tempo"].values.shape == (1, 0, 3)
    assert not analysis["beats"].is_found
    assert analysis["onsets"].is_found and len(analysis["onsets"]) == 0
    assert "global tempo" in analysis.warnings[-1]
