"""Streaming: life, parameters, memory, threads."""

from __future__ import annotations

import copy
import gc
import os
import pickle
import threading
import tracemalloc
from collections.abc import Callable
from typing import Any

import numpy as np
import pytest
from conftest import IS_WHOLE, music

import qelaudio

RATE = 22050
AUDIO = music(RATE, 4)[0]
PER_FRAME = [
    name
    for name, key in qelaudio.keys().items()
    if key.delivery == "per frame" and key.payload in ("values", "vector", "complex")
]


def test_a_push_returns_what_came() -> None:
    analyzer = qelaudio.Analyzer(["mfcc", "onsets"], RATE)
    assert list(analyzer.push(AUDIO[:100])) == []
    came = analyzer.push(AUDIO[100:20000])
    assert list(came) == ["mel frequency cepstral coefficients"]
    assert came["mfcc"].start_times[0] == 0
    assert set(analyzer.finish()) == {"mel frequency cepstral coefficients", "onset data"}


def test_times_go_on_from_push_to_push() -> None:
    analyzer = qelaudio.Analyzer("spectrum", RATE, block=1024)
    times = [analyzer.push(AUDIO[i : i + 1024])["spectrum"].start_times for i in (0, 1024, 2048)]
    assert np.allclose(np.concatenate(times), np.arange(5) * 512 / RATE)


def test_small_blocks_deliver_early() -> None:
    analyzer = qelaudio.Analyzer("spectrum", RATE, block=64)
    assert len(analyzer.push(AUDIO[:1023])) == 0
    assert len(analyzer.push(AUDIO[1023:1024])["spectrum"]) == 1


def test_reset_equals_a_fresh_analyzer() -> None:
    analyzer = qelaudio.Analyzer(PER_FRAME, RATE)
    analyzer.push(AUDIO[3000:9000])
    analyzer.reset()
    assert analyzer.samples == 0
    for key, result in analyzer.push(AUDIO).items():
        fresh = qelaudio.Analyzer(PER_FRAME, RATE).push(AUDIO)[key]
        assert np.array_equal(result.values, fresh.values, equal_nan=True), key


def test_results_outlive_the_analyzer() -> None:
    analyzer = qelaudio.Analyzer(["spectrum", "partials"], RATE)
    came = analyzer.push(AUDIO)
    values = came["spectrum"].values
    kept, track = values.copy(), came["partials"].frequency.copy()
    analyzer.push(AUDIO)
    analyzer.finish()
    analyzer.close()
    del analyzer
    gc.collect()
    np.full(1 << 20, 7.0)
    assert np.array_equal(values, kept)
    assert np.array_equal(came["partials"].frequency, track)
    assert values.flags.writeable


def test_the_input_may_change_after_a_push() -> None:
    audio = AUDIO[:6000].copy()
    analyzer = qelaudio.Analyzer("spectrum", RATE)
    first = analyzer.push(audio)["spectrum"].values
    audio[:] = 0
    rest = analyzer.finish()["spectrum"].values
    expected = qelaudio.analyze(AUDIO[:6000], "spectrum", sample_rate=RATE)["spectrum"].values
    assert np.array_equal(np.concatenate([first, rest], axis=1), expected)


def test_an_ended_stream_takes_nothing_until_reset() -> None:
    analyzer = qelaudio.Analyzer("spectrum", RATE)
    analyzer.finish()
    calls: list[Callable[[], object]] = [lambda: analyzer.push(AUDIO), analyzer.finish]
    for call in calls:
        with pytest.raises(qelaudio.Error, match="ended") as raised:
            call()
        assert raised.value.status == qelaudio.STATUS_NOT_READY
    analyzer.reset()
    assert len(analyzer.push(AUDIO)) == 1


def test_a_closed_analyzer_says_so() -> None:
    with qelaudio.Analyzer("spectrum", RATE) as analyzer:
        pass
    with pytest.raises(qelaudio.Error, match="closed"):
        analyzer.push(AUDIO)


def test_parameters_are_attributes() -> None:
    analyzer = qelaudio.Analyzer(["tempo", "onsets"], RATE)
    assert analyzer.parameter_names == ("min_bpm", "max_bpm", "complexity", "onset_sensitivity")
    assert (analyzer.min_bpm, analyzer.onset_sensitivity) == (20, 80)
    analyzer.onset_sensitivity = 100
    assert analyzer.onset_sensitivity == 100


def test_the_table_of_parameters_agrees_with_the_library() -> None:
    analyzer = qelaudio.Analyzer(list(qelaudio.keys()), RATE, length=1000)
    for parameter in qelaudio.parameters().values():
        assert getattr(analyzer, parameter.attribute) == parameter.default
        for end in (parameter.minimum, parameter.maximum):
            setattr(analyzer, parameter.attribute, end)
            assert getattr(analyzer, parameter.attribute) == end
    native = analyzer._open().parameter_names()
    assert sorted(native) == sorted(qelaudio.parameters())


@pytest.mark.parametrize("key", list(qelaudio.keys()))
def test_a_key_has_the_parameters_of_the_table(key: str) -> None:
    analyzer = qelaudio.Analyzer(key, RATE, length=1000)
    owned = [row.name for row in qelaudio.parameters().values() if key in row.keys]
    assert sorted(analyzer._open().parameter_names()) == sorted(owned)


@pytest.mark.parametrize(
    ("name", "value"),
    [
        ("onset_sensitivity", 100.5),
        ("onset_sensitivity", -1),
        ("onset_sensitivity", float("nan")),
        ("complexity", 0.5),
        ("complexity", 3),
        ("genre_hint", 2),
        ("min_bpm", "slow"),
        ("min_bpm", 10**400),
    ],
)
def test_a_parameter_out_of_range_is_refused(name: str, value: Any) -> None:
    analyzer = qelaudio.Analyzer(["tempo", "onsets", "beats"], RATE)
    before = getattr(analyzer, name)
    with pytest.raises(qelaudio.Error, match="must be a") as raised:
        setattr(analyzer, name, value)
    assert raised.value.status == qelaudio.STATUS_BAD_FORMAT
    assert getattr(analyzer, name) == before


def test_a_parameter_without_its_key_is_refused() -> None:
    analyzer = qelaudio.Analyzer("spectrum", RATE)
    with pytest.raises(qelaudio.Error, match='is a parameter of "tempo"') as raised:
        analyzer.min_bpm = 30
    assert raised.value.status == qelaudio.STATUS_UNKNOWN


@pytest.mark.parametrize("count", [0, 65, -1, 1.5, True])
def test_channels_out_of_range_are_refused(count: Any) -> None:
    with pytest.raises(qelaudio.Error, match="channels"):
        qelaudio.Analyzer("spectrum", RATE, count)


def test_an_analyzer_is_not_copied() -> None:
    analyzer = qelaudio.Analyzer("spectrum", RATE)
    for call in (copy.copy, copy.deepcopy, pickle.dumps):
        with pytest.raises(TypeError):
            call(analyzer)


def test_counts_may_be_those_of_numpy() -> None:
    channels: Any = np.int64(2)
    analyzer = qelaudio.Analyzer("spectrum", RATE, channels, length=500 * channels)
    assert analyzer.channels == 2


@pytest.mark.parametrize("length", [None, "1000", 1000.5, float("nan"), -1, 1 << 32, True])
def test_a_length_that_is_no_count_is_refused(length: Any) -> None:
    with pytest.raises(qelaudio.Error, match="length must be"):
        qelaudio.Analyzer("spectrum", RATE, length=length)


def test_the_length_of_the_stream_must_be_known_where_frames_come_at_its_end() -> None:
    with pytest.raises(qelaudio.Error, match="pass length"):
        qelaudio.Analyzer("reasigned spectrum", RATE)


def test_blocks_must_fit_the_keys() -> None:
    with pytest.raises(qelaudio.Error, match="multiple of 512"):
        qelaudio.Analyzer("audio range", RATE, block=1000)


def test_a_second_thread_is_refused_and_does_no_harm() -> None:
    audio = np.tile(AUDIO, 4)
    analyzer = qelaudio.Analyzer(PER_FRAME, RATE)
    refused = []
    is_done = threading.Event()

    def intrude() -> None:
        while not is_done.is_set():
            try:
                analyzer._session.take(False)  # type: ignore[union-attr]
            except qelaudio.Error as error:
                refused.append(error)
                return

    thread = threading.Thread(target=intrude)
    thread.start()
    analyzer.push(audio)
    is_done.set()
    thread.join()
    assert refused and refused[0].status == qelaudio.STATUS_NOT_READY
    assert len(analyzer.finish())


def test_threads_with_analyzers_of_their_own_agree() -> None:
    expected = qelaudio.analyze(AUDIO, PER_FRAME, sample_rate=RATE)
    results: list[qelaudio.Analysis] = []

    def work() -> None:
        results.append(qelaudio.analyze(AUDIO, PER_FRAME, sample_rate=RATE))

    threads = [threading.Thread(target=work) for _ in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert len(results) == 4
    for analysis in results:
        for key in PER_FRAME:
            assert np.array_equal(analysis[key].values, expected[key].values, equal_nan=True), key


def resident_bytes() -> int:
    with open("/proc/self/statm", encoding="ascii") as file:
        return int(file.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")


def test_analyzers_leave_no_memory_behind() -> None:
    keys = ["spectrum", "onsets", "beats", "partials", "dominant key", "global key", "audio range"]

    def use(count: int) -> None:
        for _ in range(count):
            with qelaudio.Analyzer(keys, RATE) as analyzer:
                analyzer.push(AUDIO[:8192])
                analyzer.finish()

    count = 2000 if IS_WHOLE else 200
    tracemalloc.start()
    use(20)  # what is kept for good
    resident = resident_bytes()
    gc.collect()
    before = tracemalloc.get_traced_memory()[0]
    use(count)
    gc.collect()
    grown = tracemalloc.get_traced_memory()[0] - before
    tracemalloc.stop()
    # One small object for each analyzer would be 11 kB.
    assert grown < 4096
    # A page for every second analyzer would be 800 kB.
    assert resident_bytes() - resident < 400_000


def test_refusals_have_no_number_in_their_text() -> None:
    analyzer = qelaudio.Analyzer("spectrum", RATE)
    analyzer.finish()
    with pytest.raises(qelaudio.Error) as raised:
        analyzer.push(AUDIO)
    assert str(raised.value) == "the stream has ended; call reset() to begin another one"
    analyzer.close()
    with pytest.raises(qelaudio.Error, match="closed; make another") as raised:
        analyzer.finish()
    assert raised.value.status == qelaudio.STATUS_NOT_READY


def test_a_misspelt_parameter_is_refused() -> None:
    analyzer = qelaudio.Analyzer("tempo", RATE)
    with pytest.raises(AttributeError, match="minbpm"):
        setattr(analyzer, "minbpm", 5)


def test_the_range_of_tempi_keeps_its_order() -> None:
    analyzer = qelaudio.Analyzer("tempo", RATE)
    analyzer.max_bpm = 120
    analyzer.min_bpm = 150
    for _ in range(2):
        with pytest.raises(qelaudio.Error, match='"Min BPM" 150 is above "Max BPM" 120'):
            analyzer.push(AUDIO)
    analyzer.max_bpm = 200
    analyzer.push(AUDIO)


def test_a_turned_block_gets_a_hint() -> None:
    analyzer = qelaudio.Analyzer("spectrum", RATE, 2)
    with pytest.raises(qelaudio.Error, match=r"\(50, 2\) are 50 channels.* the transpose, array\.T"):
        analyzer.push(np.zeros((50, 2), np.float32))
    assert analyzer.push(np.zeros((2, 1), np.float32)) is not None


def test_the_text_of_an_analyzer_is_short() -> None:
    keys = list(qelaudio.keys())
    assert len(repr(qelaudio.Analyzer(keys, RATE, length=RATE))) < 140
    assert len(repr(qelaudio.analyze(AUDIO, keys, sample_rate=RATE))) < 140
