"""The tables of files and readings: schemas, and rows from the tables of ``qel batch``."""

from __future__ import annotations

import hashlib
import os
import sqlite3
from collections.abc import Callable, Iterator, Mapping, Sequence
from typing import Any
from urllib.parse import quote

import pyarrow as pa

Row = tuple[Any, ...]
Rename = Callable[[Any], Any]

#: The column by which the tables are divided: digits of `id_of`.
PARTITION = "prefix"
#: Columns of the tables of ``qel batch`` by their names. Numbers of SQLite have no other type.
TYPES: Mapping[str, Any] = {
    "size": pa.int64(),
    "duration_seconds": pa.float64(),
    "sample_rate_hz": pa.int64(),
    "channels": pa.int64(),
    "arrays_bytes": pa.int64(),
    "modified_ns": pa.int64(),
    "seconds": pa.float64(),
    "tries": pa.int64(),
    "tempo_bpm": pa.float64(),
    "tempo_is_steady": pa.bool_(),
    "tempo_alternative_bpm": pa.float64(),
    "tempo_strength": pa.float64(),
    "beats_per_bar": pa.int64(),
    "beats_per_bar_strength": pa.float64(),
    "key_strength": pa.float64(),
    "loudness_lufs": pa.float64(),
    "loudness_range_lu": pa.float64(),
    "true_peak_dbtp": pa.float64(),
    "sample_peak_dbfs": pa.float64(),
    "bandwidth_hz": pa.float64(),
}
TEXTS = frozenset(
    ("hash", "format", "codec", "decoder", "status", "error", "warnings", "arrays", "key", "key_runner_up")
)
#: The first columns of every table.
KEYS_OF_ROWS = (pa.field("id", pa.string(), nullable=False), pa.field("path", pa.string(), nullable=False))
BATCH_ROWS = 16384


def open_tables(path: str, *, writes: bool = False) -> sqlite3.Connection:
    """The tables of a dataset."""
    mode = "rwc" if writes else "ro"
    return sqlite3.connect(f"file:{quote(os.fsencode(path))}?mode={mode}", uri=True)


def id_of(path: str | bytes) -> str:
    """The identity of a file: 32 hexadecimal digits of the SHA-256 of the bytes of its path."""
    raw = path.encode() if isinstance(path, str) else path
    return hashlib.sha256(raw).hexdigest()[:32]


def text_of(value: Any) -> Any:
    r"""Bytes that are not UTF-8 as a text with ``\xNN``; everything else as it is."""
    return value.decode("utf-8", "backslashreplace") if isinstance(value, bytes) else value


def columns_of(tables: sqlite3.Connection, table: str) -> list[str]:
    """The columns of a table after its path."""
    cursor = tables.execute(f"SELECT * FROM {table} LIMIT 0")
    return [column[0] for column in cursor.description[1:]]


def schema_of(tables: sqlite3.Connection, table: str, metadata: Mapping[str, str]) -> Any:
    """The columns of one of the tables ``files``, ``readings`` and ``runs``."""
    fields = [*KEYS_OF_ROWS]
    if table == "files":
        fields.append(pa.field("path_bytes", pa.binary()))
    for name in columns_of(tables, table):
        known = TYPES.get(name, pa.string() if name in TEXTS else None)
        if known is None:
            raise ValueError(f"column {name} of the table {table} has no type here")
        fields.append(pa.field(name, known))
    return pa.schema(fields, metadata=dict(metadata))


def batches(rows: Iterator[Row], schema: Any, rename: Rename) -> Iterator[Any]:
    """Rows of SQLite, of which the first member is the path, as batches of Arrow.

    Parameters
    ----------
    rows : iterator of tuple
    schema : pyarrow.Schema
    rename : callable
        From paths of the tool to those of the tables.
    """
    while chunk := [row for _, row in zip(range(BATCH_ROWS), rows, strict=False)]:
        columns: Sequence[Sequence[Any]] = list(zip(*chunk, strict=True))
        named = [rename(path) for path in columns[0]]
        head: list[Any] = [[id_of(path) for path in named], [text_of(path) for path in named]]
        if "path_bytes" in schema.names:
            head.append([path if isinstance(path, bytes) else None for path in named])
        tail = [_values(values, schema.field(len(head) + at)) for at, values in enumerate(columns[1:])]
        arrays = [
            pa.array(values, column.type) for values, column in zip([*head, *tail], schema, strict=True)
        ]
        yield pa.record_batch(arrays, schema=schema)


def _values(values: Sequence[Any], column: Any) -> list[Any]:
    if pa.types.is_boolean(column.type):
        return [None if value is None else bool(value) for value in values]
    return [text_of(value) for value in values]
