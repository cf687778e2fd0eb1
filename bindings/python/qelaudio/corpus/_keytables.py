"""The table of a key: columns, and rows from the arrays of one file."""

from __future__ import annotations

import math
from collections.abc import Callable, Mapping
from typing import Any

import numpy as np
import pyarrow as pa
from numpy.typing import NDArray

from qelaudio._keys import Key, keys
from qelaudio.corpus._tables import KEYS_OF_ROWS

Arrays = Mapping[str, NDArray[Any]]
Columns = dict[str, Any]

_PARTIALS = {
    "bin": pa.int32(),
    "frequency": pa.float32(),
    "magnitude": pa.float32(),
    "phase": pa.float32(),
    "frame": pa.float64(),
}


def folder_of(key: Key) -> str:
    """The name of the key's table and of its arrays."""
    return key.name.replace(" ", "-")


def _column(name: str) -> str:
    return name.replace(" ", "_")


def _names(key: Key) -> list[str]:
    return [_column(value.name) for value in key.values]


def _is_wide(key: Key) -> bool:
    """One column for each number, where each has a name."""
    return key.payload in ("values", "range", "count", "names") or key.size == 1


def _fields(key: Key) -> dict[str, Any]:
    if key.payload == "events":
        return {"strength": pa.float32()}
    if key.payload == "partials":
        return dict(_PARTIALS)
    kinds = {"count": pa.uint32(), "names": pa.string()}
    number = kinds.get(key.payload, pa.float32())
    return dict.fromkeys(_names(key), number if _is_wide(key) else pa.list_(pa.float32()))


def schema_of(key: Key, metadata: Mapping[str, str]) -> Any:
    """The columns of the key's table. Units and definitions are in the metadata of the columns."""
    fields = [*KEYS_OF_ROWS, pa.field("channel", pa.uint32()), pa.field("time", pa.float64())]
    about = {_column(value.name): value for value in key.values}
    for name, kind in _fields(key).items():
        value = about.get(name)
        told = {"unit": value.unit, "definition": value.definition} if value else None
        fields.append(pa.field(name, kind, metadata=told))
    return pa.schema(fields, metadata={**metadata, "key": key.name, "definition": key.definition})


def _lists(rows: NDArray[np.float32]) -> Any:
    """A list for each row."""
    ends = np.arange(len(rows) + 1, dtype=np.int32) * np.int32(rows.shape[1])
    return pa.ListArray.from_arrays(pa.array(ends), pa.array(np.ascontiguousarray(rows).reshape(-1)))


def _numbers(key: Key, values: NDArray[Any]) -> Columns:
    """Columns of an array with a row for each frame and channel."""
    if key.payload == "names":
        return {_names(key)[0]: pa.array([text.decode() for text in values.reshape(-1)], pa.string())}
    frames, channels, *shape = values.shape
    rows = values.reshape(frames * channels, math.prod(shape))  # no frames leave -1 undecided
    if key.payload == "complex":
        return dict(zip(_names(key), (_lists(rows.real), _lists(rows.imag)), strict=True))
    if _is_wide(key):
        return {name: pa.array(rows[:, at]) for at, name in enumerate(_names(key))}
    return {_names(key)[0]: _lists(rows)}


def _frames(key: Key, arrays: Arrays, name: str) -> Columns:
    values = arrays[name]
    frames, channels = values.shape[:2]
    return {
        "channel": pa.array(np.tile(np.arange(channels, dtype=np.uint32), frames)),
        "time": pa.array(np.repeat(arrays[f"{name}.time"], channels)),
        **_numbers(key, values),
    }


def _entries(key: Key, arrays: Arrays, name: str) -> Columns:
    return {
        column: pa.array(arrays[f"{name}.{column}"]) for column in ("channel", "time", *_fields(key))
    }


def table_of(key: Key, arrays: Arrays, identity: str, path: str, schema: Any) -> Any:
    """The rows of one file, frame after frame, and in each frame channel after channel.

    Returns
    -------
    pyarrow.Table
        Empty if the file has no arrays of the key.
    """
    name = folder_of(key)
    if f"{name}.time" not in arrays:
        return schema.empty_table()
    maker: Callable[[Key, Arrays, str], Columns] = (
        _entries if key.payload in ("events", "partials") else _frames
    )
    columns = maker(key, arrays, name)
    count = len(columns["time"])
    head = {"id": pa.repeat(identity, count), "path": pa.repeat(path, count)}
    return pa.table({**head, **columns}).cast(schema)


def keys_named(names: str) -> list[Key]:
    """The keys of a setting of ``qel batch``."""
    return [keys()[name] for name in names.split(", ") if name]
