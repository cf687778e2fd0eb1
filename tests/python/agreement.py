"""Compares results of the package with the JSON of the tool, bit for bit."""

from __future__ import annotations

from typing import Any

import numpy as np

import qelaudio


def _numbers(values: list[Any], kind: str) -> Any:
    """The tool's numbers as (channels, frames, values); what is not finite is null there."""
    rows = np.array(values, dtype=np.float64)  # null becomes NaN
    if kind == "complex":  # real parts, then imaginary parts
        rows = np.swapaxes(rows, 2, 3).reshape(*rows.shape[:2], -1)
    rows = rows.reshape(*rows.shape[:2], -1)
    return np.swapaxes(rows, 0, 1).astype(np.float32)


def _same_numbers(feature: qelaudio.Feature, values: list[Any]) -> None:
    if not values:
        assert feature.values.shape[1] == 0
        return
    expected = _numbers(values, feature.key.payload)
    ours = np.where(np.isfinite(feature.values), feature.values, np.float32(np.nan))
    assert ours.shape == expected.shape
    assert ours.dtype == np.float32
    assert np.array_equal(ours, expected, equal_nan=True)


def _same_events(events: qelaudio.Events, values: list[Any]) -> None:
    assert events.is_found == bool(values)
    for channel in range(events.channels if values else 0):
        times, strengths = events.channel(channel)
        expected_times, expected_strengths = values[0][channel]
        assert times.tolist() == expected_times
        expected = np.array(expected_strengths, np.float64).astype(np.float32)
        assert np.array_equal(strengths, expected, equal_nan=True)


def _same_partials(partials: qelaudio.Partials, values: list[Any]) -> None:
    assert len(partials) == len(values)
    for frame, channels in enumerate(values):
        for channel, fields in enumerate(channels):
            ours = partials.at(frame, channel)
            for name, expected in zip(ours, fields, strict=True):
                assert ours[name].tolist() == np.array(expected, ours[name].dtype).tolist(), name


def _same_names(names: qelaudio.Names, values: list[Any]) -> None:
    assert names.values == [[frame[c][0] for frame in values] for c in range(names.channels)]


def assert_same(result: qelaudio.Result, key: dict[str, Any]) -> None:
    """`key` is the tool's entry of the result's key."""
    values = key["values"]
    if isinstance(result, qelaudio.Events):
        _same_events(result, values)
    elif isinstance(result, qelaudio.Partials):
        _same_partials(result, values)
    elif isinstance(result, qelaudio.Names):
        _same_names(result, values)
    else:
        assert isinstance(result, qelaudio.Feature)
        _same_numbers(result, values)
    assert list(result.names) == key["names"]
    assert result.sample_rate == key["sample_rate"]
    assert (result.frame or None) == key["frame_size"]
    assert ((result.hop * (key["results_per_frame"] or 1)) or None) == key["hop"]
