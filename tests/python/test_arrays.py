"""Which arrays are audio, and what becomes of them."""

from __future__ import annotations

import resource
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from conftest import as_int16, music
from hypothesis import given
from hypothesis import strategies as st
from numpy.typing import NDArray

import qelaudio
from qelaudio._sources import as_samples

RATE = 22050
KEY = "generic spectrum properties"
AUDIO = music(RATE, 0.5, 2)


def values_of(audio: Any, **options: Any) -> NDArray[np.float32]:
    analysis = qelaudio.analyze(audio, KEY, sample_rate=RATE, mix="keep", **options)
    return np.asarray(analysis[KEY].values)


EXPECTED = values_of(AUDIO)


def strided(audio: NDArray[Any]) -> NDArray[Any]:
    wide = np.zeros((audio.shape[0], 2 * audio.shape[1]), audio.dtype)
    wide[:, ::2] = audio
    return wide[:, ::2]


def read_only(audio: NDArray[Any]) -> NDArray[Any]:
    audio = audio.copy()
    audio.flags.writeable = False
    return audio


def unaligned(audio: NDArray[Any]) -> NDArray[Any]:
    raw = np.zeros(audio.nbytes + 1, np.uint8)
    view = raw[1:].view(audio.dtype).reshape(audio.shape)
    view[:] = audio
    return view


@pytest.mark.parametrize(
    "layout",
    [
        np.asfortranarray,
        strided,
        read_only,
        unaligned,
        lambda a: a[::-1].copy()[::-1],
        lambda a: a[:, ::-1].copy()[:, ::-1],
        lambda a: a.astype(">f4"),
        lambda a: a.astype(np.float64),
        lambda a: np.ascontiguousarray(a.T).T,
        lambda a: a.tolist(),
    ],
    ids=["fortran", "strided", "read-only", "unaligned", "rows-reversed", "reversed", "big-endian",
         "float64", "interleaved", "lists"],
)  # fmt: skip
def test_layouts_give_the_same_numbers(layout: Any) -> None:
    assert np.array_equal(values_of(layout(AUDIO)), EXPECTED)


@pytest.mark.parametrize(
    ("dtype", "scale", "zero"),
    [(np.int8, 128, 0), (np.int16, 32768, 0), (np.int32, 2**31, 0), (np.uint8, 128, 128)],
)
def test_integers_are_fractions_of_full_scale(dtype: Any, scale: int, zero: int) -> None:
    info = np.iinfo(dtype)
    integers = np.array([[info.min, info.max, zero, zero + 1, 77]], dtype)
    exact = (integers.astype(np.float64) - zero) / scale
    assert np.array_equal(as_samples(integers), exact.astype(np.float32))


def test_half_precision_is_taken() -> None:
    half = AUDIO.astype(np.float16)
    assert np.array_equal(values_of(half), values_of(half.astype(np.float32)))


@pytest.mark.parametrize("audio", [AUDIO, AUDIO[0], read_only(AUDIO), AUDIO[::-1], AUDIO[:, 100:]])
def test_float32_is_not_copied(audio: NDArray[np.float32]) -> None:
    assert np.shares_memory(as_samples(audio), audio)


@pytest.mark.parametrize(
    "audio",
    [
        np.zeros(100, np.complex64),
        np.zeros(100, np.int64),
        np.zeros(100, np.uint16),
        np.zeros(100, bool),
        np.zeros((2, 2, 100), np.float32),
        np.float32(1),
        np.zeros((1000, 2), np.float32),
        np.zeros((0, 100), np.float32),
        np.array(["a", "b"]),
        [[0.0, 0.1], [0.2]],
        None,
        b"1234",
        {"samples": 1},
        (AUDIO[0], RATE),
        np.ma.masked_array(AUDIO[0], AUDIO[0] > 0),
    ],
    ids=["complex", "int64", "uint16", "bool", "3-d", "0-d", "transposed", "no-channels", "text",
         "ragged", "none", "bytes", "dict", "pair", "masked"],
)  # fmt: skip
def test_what_is_no_audio_gets_one_sentence(audio: Any) -> None:
    with pytest.raises(qelaudio.Error) as raised:
        qelaudio.analyze(audio, KEY, sample_rate=RATE)
    assert raised.value.status == qelaudio.STATUS_BAD_FORMAT
    assert "\n" not in str(raised.value) and len(str(raised.value)) > 10


@pytest.mark.parametrize(
    ("audio", "hint"),
    [
        (b"song.wav", "a path is passed as str"),
        (None, "type NoneType"),
        ((AUDIO[0], RATE), "pass both by themselves"),
        (np.ma.masked_array(AUDIO[0], AUDIO[0] > 0), "filled"),
    ],
)
def test_what_is_no_audio_gets_a_hint(audio: Any, hint: str) -> None:
    with pytest.raises(qelaudio.Error, match=hint):
        qelaudio.analyze(audio, KEY, sample_rate=RATE)


def test_a_list_of_numbers_of_numpy_is_a_list_of_numbers() -> None:
    assert np.array_equal(values_of(list(AUDIO[0])), values_of(AUDIO[0]))


def test_a_transposed_array_gets_a_hint() -> None:
    with pytest.raises(qelaudio.Error, match=r"pass array\.T"):
        qelaudio.analyze(np.zeros((1000, 2), np.float32), KEY, sample_rate=RATE)


@pytest.mark.parametrize("empty", [np.zeros(0, np.float32), np.zeros((2, 0)), [], [np.zeros(0)]])
def test_audio_without_samples_is_refused(empty: Any) -> None:
    for call in (lambda: values_of(empty), lambda: qelaudio.read(empty, sample_rate=RATE)):
        with pytest.raises(qelaudio.Error, match="no samples"):
            call()


@pytest.mark.parametrize(
    "rate", [None, 0, -1, float("nan"), float("inf"), 1e9, 10**400, True, "fast"]
)
def test_a_rate_out_of_range_is_refused(rate: Any) -> None:
    with pytest.raises(qelaudio.Error, match="sample_rate") as raised:
        qelaudio.analyze(AUDIO, KEY, sample_rate=rate)
    assert raised.value.status == qelaudio.STATUS_BAD_FORMAT


def test_an_empty_push_is_no_end() -> None:
    analyzer = qelaudio.Analyzer(KEY, RATE)
    assert len(analyzer.push(np.zeros(0, np.float32))) == 0
    assert analyzer.samples == 0


@given(st.lists(st.integers(0, 9000), max_size=8))
def test_any_cut_gives_the_same_numbers(cuts: list[int]) -> None:
    edges = np.unique(np.clip(np.cumsum(cuts), 0, AUDIO.shape[1]))
    pieces = np.split(AUDIO, edges, axis=1)
    assert np.array_equal(values_of(iter(pieces)), EXPECTED)


@given(st.integers(1, 5000))
def test_any_block_gives_the_same_numbers(block: int) -> None:
    assert np.array_equal(values_of(AUDIO, block=block), EXPECTED)


def test_mono_is_the_mean_in_double_precision() -> None:
    mean = ((AUDIO[0].astype(np.float64) + AUDIO[1]) / 2).astype(np.float32)
    mixed = qelaudio.analyze(AUDIO, KEY, sample_rate=RATE)
    assert np.array_equal(mixed[KEY].values, values_of(mean))
    assert mixed.channels == 1


def test_channels_must_not_change_between_blocks() -> None:
    with pytest.raises(qelaudio.Error, match="a block of 1 channel after blocks of 2"):
        values_of(iter([AUDIO, AUDIO[0]]))


def test_integers_of_16_bits_equal_their_floats() -> None:
    integers = as_int16(AUDIO)
    assert np.array_equal(values_of(integers), values_of(integers / np.float32(32768)))


def test_large_results_equal_those_of_small_pushes() -> None:
    # The partials of 40 s have arrays of megabytes, those of a push have kilobytes.
    audio = np.tile(music(44100, 4), 10)
    whole = qelaudio.analyze(audio, ["partials", "spectrum"], sample_rate=44100)
    assert whole["partials"].bin.nbytes > 2 << 20 and whole["spectrum"].values.nbytes > 8 << 20
    analyzer = qelaudio.Analyzer(["partials", "spectrum"], 44100)
    came = [analyzer.push(audio[:, i : i + 44100]) for i in range(0, audio.shape[1], 44100)]
    came.append(analyzer.finish())
    for name in ("bin", "frequency", "magnitude", "phase", "frame_number"):
        parts = [getattr(part["partials"], name) for part in came if "partials" in part]
        assert np.array_equal(np.concatenate(parts), getattr(whole["partials"], name)), name
    parts = [part["spectrum"].values for part in came if "spectrum" in part]
    assert np.array_equal(np.concatenate(parts, axis=1), whole["spectrum"].values)


def test_large_results_of_each_channel_equal_those_of_the_channel_alone() -> None:
    audio = np.tile(music(44100, 4, 2), 10)
    keys = ["partials", "spectrum"]
    both = qelaudio.analyze(audio, keys, sample_rate=44100, mix="keep")
    for channel in range(2):
        alone = qelaudio.analyze(audio[channel], keys, sample_rate=44100)
        assert np.array_equal(both["spectrum"].values[channel], alone["spectrum"].values[0])
        begin, end = both["partials"].offsets[channel, [0, -1]]
        for name in ("bin", "frequency", "magnitude", "phase", "frame_number"):
            ours = getattr(both["partials"], name)[begin:end]
            assert np.array_equal(ours, getattr(alone["partials"], name)), name


def huge_pages_are_given() -> bool:
    path = Path("/sys/kernel/mm/transparent_hugepage/enabled")
    return path.exists() and "[never]" not in path.read_text()


@pytest.mark.skipif(not huge_pages_are_given(), reason="the system gives no huge pages")
def test_large_results_come_in_huge_pages() -> None:
    audio = np.tile(music(44100, 4), 15)
    qelaudio.analyze(audio, "spectrum", sample_rate=44100)
    before = resource.getrusage(resource.RUSAGE_SELF).ru_minflt
    result = qelaudio.analyze(audio, "spectrum", sample_rate=44100)["spectrum"]
    faults = resource.getrusage(resource.RUSAGE_SELF).ru_minflt - before
    # Half of what pages of 4096 bytes would take.
    assert faults < result.values.nbytes / 4096 / 2


@pytest.mark.parametrize("call", [qelaudio.read, lambda x, **k: qelaudio.analyze(x, KEY, **k)])
def test_frames_by_channels_are_refused(call: Any) -> None:
    turned = np.zeros((50, 2), np.float32)
    for audio in (turned, [turned, turned]):
        with pytest.raises(qelaudio.Error, match="pass the transpose, array.T") as raised:
            call(audio, sample_rate=RATE)
        assert raised.value.status == qelaudio.STATUS_BAD_FORMAT
