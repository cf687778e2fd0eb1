"""The table of keys, unknown names, and the package's documentation."""

from __future__ import annotations

import doctest
import importlib
import inspect
import json
import os
import pkgutil
import subprocess
from typing import Any

import pytest

import qelaudio


def tool_keys() -> list[dict[str, object]]:
    text = subprocess.run([os.environ["QEL_TOOL"], "keys", "--json"], capture_output=True).stdout
    table = json.loads(text)
    rows: list[dict[str, object]] = table["keys"] if isinstance(table, dict) else table
    return rows


def test_the_table_is_that_of_the_tool() -> None:
    rows = tool_keys()
    assert list(qelaudio.keys()) == [row.get("key", row.get("name")) for row in rows]


def test_every_key_and_value_is_described() -> None:
    for key in qelaudio.keys().values():
        assert key.definition and key.values
        assert key.minimum <= key.maximum
        for value in key.values:
            assert value.name and value.unit and value.definition


def test_units_ranges_and_sources_can_be_asked_for() -> None:
    chroma = qelaudio.keys()["pitch class profile"]
    assert (chroma.unit, chroma.range, chroma.size) == ("1", (0, 1), 12)
    assert "Fujishima" in chroma.source
    frequency = qelaudio.keys()["fundamental frequency"].values[0]
    assert frequency.range_at(44100) == (0, 22050)


def test_the_documentation_comes_from_the_table() -> None:
    text = inspect.getdoc(qelaudio.keys)
    assert text is not None
    for key in qelaudio.keys().values():
        assert f"- {', '.join((key.name, *key.aliases))}: " in text
        described = key.describe()
        assert key.definition in described
        assert all(value.definition in described for value in key.values)


def test_aliases_are_those_of_the_tool() -> None:
    keys = qelaudio.keys()
    assert keys["mel frequency cepstral coefficients"].aliases == ("mfcc",)
    assert keys["gamma tome spectrum"].aliases == ("gammatone spectrum", "gammatone")


@pytest.mark.parametrize(
    ("name", "hint"),
    [
        ("mfccs", 'did you mean "mfcc"'),
        ("MFCC", 'did you mean "mfcc"'),
        ("xyzzy", "qelaudio.keys"),
        ("loudness", r'reading: qelaudio.read\(source, "loudness"\)'),
        ("key", "reading"),
        ("spectrum centroid", 'a value of the key "generic spectrum properties"'),
        ("spectral centroid", 'did you mean "spectrum centroid", a value of the key "generic'),
        ("", "qelaudio.keys"),
    ],
)
def test_an_unknown_key_gets_a_hint(name: str, hint: str) -> None:
    with pytest.raises(qelaudio.Error, match=hint) as raised:
        qelaudio.analyze([0.0], name, sample_rate=44100)
    assert raised.value.status == qelaudio.STATUS_UNKNOWN


def test_the_table_takes_aliases_and_does_not_list_them() -> None:
    keys = qelaudio.keys()
    assert keys["mfcc"] is keys["mel frequency cepstral coefficients"]
    assert "mfcc" in keys and "mfcc" not in list(keys)
    assert len(keys) == len(list(keys))
    with pytest.raises(KeyError, match="did you mean"):
        keys["mfccs"]


def test_a_long_unknown_name_is_not_repeated_in_full() -> None:
    with pytest.raises(qelaudio.Error) as raised:
        qelaudio.analyze([0.0], "x" * 10**6, sample_rate=44100)
    assert len(str(raised.value)) < 200


def test_no_keys_are_refused() -> None:
    with pytest.raises(qelaudio.Error, match="no keys"):
        qelaudio.analyze([0.0], [], sample_rate=44100)


@pytest.mark.parametrize("keys", [None, 5, [None], [5]])
def test_what_is_no_name_is_refused(keys: Any) -> None:
    with pytest.raises(qelaudio.Error, match=r"not (None|5); qelaudio\.keys\(\)") as raised:
        qelaudio.analyze([0.0], keys, sample_rate=44100)
    assert raised.value.status == qelaudio.STATUS_UNKNOWN


def test_reprs_are_short() -> None:
    for thing in [*qelaudio.keys().values(), *qelaudio.parameters().values(), qelaudio.keys()]:
        assert len(repr(thing)) <= 100, repr(thing)
    assert repr(qelaudio.keys()["chroma"]) == "<Key 'pitch class profile': 12 numbers, per frame>"


def test_parameters_have_two_names() -> None:
    table = qelaudio.parameters()
    assert table["min_bpm"] is table["Min BPM"]
    assert "min_bpm" in table and "min_bpm" not in list(table)
    with pytest.raises(KeyError, match="Genre Hint"):
        table["volume"]


def test_a_parameter_has_one_value() -> None:
    for given in ({"Min BPM": 60, "min_bpm": 70}, {"min_bpm": 60, "Min BPM": 60}):
        with pytest.raises(qelaudio.Error, match='"Min BPM" has two values') as raised:
            qelaudio.analyze([0.0], "tempo", sample_rate=8000, parameters=given)
        assert raised.value.status == qelaudio.STATUS_BAD_FORMAT


def test_the_least_tempo_is_not_above_the_greatest() -> None:
    for given in ({"min_bpm": 150, "max_bpm": 100}, {"min_bpm": 300}, {"max_bpm": 10}):
        with pytest.raises(qelaudio.Error, match="is above"):
            qelaudio.analyze([0.0], "tempo", sample_rate=8000, parameters=given)


def test_a_key_with_two_names_comes_once() -> None:
    analysis = qelaudio.analyze([0.0] * 5000, ["chroma", "pitch class profile"], sample_rate=8000)
    assert list(analysis) == ["pitch class profile"]


def test_an_unknown_parameter_names_those_that_there_are() -> None:
    with pytest.raises(qelaudio.Error, match="Genre Hint"):
        qelaudio.analyze([0.0], "tempo", sample_rate=8000, parameters={"volume": 1})


def modules() -> list[str]:
    return ["qelaudio"] + [
        f"qelaudio.{found.name}"
        for found in pkgutil.iter_modules(qelaudio.__path__)
        if found.name not in ("_core", "_media")
    ]


@pytest.mark.parametrize("name", modules())
def test_examples_in_docstrings_hold(name: str) -> None:
    assert doctest.testmod(importlib.import_module(name)).failed == 0


@pytest.mark.parametrize("name", [name for name in qelaudio.__all__ if name[0].isalpha()])
def test_everything_public_has_a_docstring(name: str) -> None:
    thing = getattr(qelaudio, name)
    if not (inspect.isclass(thing) or inspect.isfunction(thing)):
        return
    assert inspect.getdoc(thing)
    for member, value in vars(thing).items() if inspect.isclass(thing) else ():
        if not member.startswith("_") and (inspect.isfunction(value) or isinstance(value, property)):
            assert inspect.getdoc(value), f"{name}.{member}"
