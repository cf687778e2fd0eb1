"""Compares what different ways made of a corpus, value for value and byte for byte."""

import collections
import hashlib
import math
import os
import sqlite3

import numpy as np
import pyarrow as pa
import pyarrow.dataset as parquet

from trials import plain_loop
from trials.datasets import open_tables

TIME_TOLERANCE_SECONDS = 1e-9  # times are not in the text that `qel analyze` writes; they follow from the hop


def read_rows(dataset):
    """All columns of all tables of files, by the bytes of their paths."""
    with open_tables(dataset) as database:
        database.row_factory = sqlite3.Row
        query = "SELECT * FROM files JOIN runs USING(path) JOIN readings USING(path)"
        return {bytes_of(row["path"]): dict(row) for row in database.execute(query)}


def bytes_of(text):
    return text.encode() if isinstance(text, str) else text


class Differences:
    """Counts differences by kind, and keeps the first of each."""

    def __init__(self):
        self.counts, self.first = collections.Counter(), {}

    def add(self, kind, detail):
        self.counts[kind] += 1
        self.first.setdefault(kind, detail)

    def require(self, kind, where, wanted, found):
        if wanted == found and type(wanted) is type(found):
            return
        if isinstance(wanted, list) and isinstance(found, list) and len(wanted) == len(found):
            at = next(i for i, pair in enumerate(zip(wanted, found)) if pair[0] != pair[1])
            where, wanted, found = f"{where}, {at} of {len(wanted)}", wanted[at], found[at]
        self.add(kind, f"{where!r}: {repr(found)[:300]}, not {repr(wanted)[:300]}")

    def lines(self):
        return [f"{kind}: {count} times, first {self.first[kind]}" for kind, count in self.counts.items()]


def same_bytes(wanted, found):
    """Whether two arrays have the same bytes; a number that is none has many forms, which count as one."""
    if wanted.dtype != found.dtype or wanted.shape != found.shape:
        return False
    if wanted.dtype.kind != "f":
        return wanted.tobytes() == found.tobytes()
    both = np.isnan(wanted) & np.isnan(found)
    return np.where(both, 0, wanted).tobytes() == np.where(both, 0, found).tobytes()


def load(dataset, row):
    if row["arrays"] is None:
        return {}
    with np.load(dataset / row["arrays"]) as opened:
        return dict(opened)


def compare_loop(corpus, dataset):
    """The dataset of `qel batch` with what the plain loop printed."""
    told, rows, paths = Differences(), read_rows(dataset), plain_loop.list_files(corpus.music)
    told.require("files", "list", paths, sorted(rows))
    for number, path in enumerate(paths):
        row = rows.get(path)
        if row is not None and number % corpus.loop_step == 0:
            _compare_entry(corpus, dataset, path, row, plain_loop.entry_of(corpus, number, path), told)
    return told.lines()


def _compare_entry(corpus, dataset, path, row, entry, told):
    columns, readings, arrays = entry
    if columns["status"] is None:  # the loop has the reason, but no word for the kind
        columns["status"] = row["status"]
        if row["status"] in ("ok", "crash", "time", "memory"):
            told.add("status", f"{path!r}: {row['status']}, and the loop has {columns['error']}")
    for name, value in row.items():
        if name in columns:
            told.require(name, path, columns[name], value)
        elif name in readings:
            wanted = readings[name]
            told.require(name, path, int(wanted) if isinstance(wanted, bool) else wanted, value)
        elif name not in ("path", "arrays", "arrays_bytes", "seconds", "tries"):
            told.require(name, path, None, value)
    missing = (columns.keys() | readings.keys()) - row.keys()
    told.require("columns", path, set(), missing)
    _compare_arrays(path, arrays, load(dataset, row), told)


def _compare_arrays(path, wanted, found, told):
    told.require("names of arrays", path, sorted(wanted), sorted(found))
    for name, values in wanted.items():
        flat = found.get(name, np.zeros(0)).ravel()
        if values.dtype.kind == "S":
            values, flat = values.tolist(), flat.tolist()
            told.require(name, path, values, flat)
        elif name.endswith(".time"):
            if values.shape != flat.shape or not np.all(np.abs(values - flat) < TIME_TOLERANCE_SECONDS):
                told.add(name, f"{path!r}: {flat[:5]}, not {values[:5]}")
        elif not same_bytes(values, flat):
            told.add(name, f"{path!r}: {flat[:5]} {flat.dtype}, not {values[:5]} {values.dtype}")


def compare_parquet(tables, dataset, keys):
    """The Parquet tables with the dataset of `qel batch`."""
    told = Differences()
    rows = {identity_of(path): (path, row) for path, row in read_rows(dataset).items()}
    for table in ("files", "readings", "runs"):
        _compare_table(parquet_table(tables / table), table, rows, told)
    files = [(identity, text_of(path), dataset / row["arrays"])
             for identity, (path, row) in sorted(rows.items(), key=_place_of) if row["arrays"]]
    for name in (key.replace(" ", "-") for key in keys):
        for prefix in sorted((tables / "keys" / name).iterdir()):
            digits = prefix.name.removeprefix("prefix=x")
            _compare_key(name, parquet_table(prefix), [file for file in files if file[0].startswith(digits)], told)
    return told.lines()


def _place_of(entry):
    """Rows are in the order of SQLite: paths that are text come first, then the others, both in that of bytes."""
    path, row = entry[1]
    return isinstance(row["path"], bytes), path


def identity_of(path):
    return hashlib.sha256(path).hexdigest()[:32]


def text_of(path):
    return path.decode("utf-8", "backslashreplace")


def parquet_table(folder):
    return parquet.dataset(folder, partitioning=None).to_table()


def _compare_table(table, name, rows, told):
    found = {row["id"]: row for row in table.to_pylist()}
    told.require(f"{name}: ids", "table", sorted(rows), sorted(row["id"] for row in table.to_pylist()))
    for identity, row in found.items():
        path, expected = rows.get(identity, (b"", {}))
        told.require(f"{name}: path", path, text_of(path), row.pop("path"))
        if name == "files":
            is_text = text_of(path).encode() == path and isinstance(expected["path"], str)
            told.require("files: path_bytes", path, None if is_text else path, row.pop("path_bytes"))
        for column, value in row.items():
            if column not in ("id", "seconds", "tries"):
                wanted = expected.get(column)
                wanted = bool(wanted) if isinstance(value, bool) and wanted is not None else wanted
                wanted = text_of(wanted) if isinstance(wanted, bytes) else wanted
                told.require(f"{name}: {column}", path, wanted, value)


def _flat(column):
    """The numbers of a column, those of lists one after the other."""
    array = column.combine_chunks()
    array = array.flatten() if pa.types.is_list(array.type) else array
    if pa.types.is_string(array.type):
        return np.array([text.encode() for text in array.to_pylist()], "S")
    return array.to_numpy(zero_copy_only=False)


def _compare_key(name, table, files, told):
    """A partition of the table of a key: its files one after the other, in the order of their paths."""
    loaded = []
    for identity, path, file in files:
        with np.load(file) as opened:
            loaded.append((identity, path, {k: v for k, v in opened.items() if k.split(".")[0] == name}))
    columns = [column for column in table.column_names if column not in ("id", "path", "channel", "time")]
    is_list = name in loaded[0][2] if loaded else False
    counts = []
    for _, _, arrays in loaded:
        values = arrays.get(name)
        counts.append(len(arrays[f"{name}.time"]) if values is None else values.shape[0] * values.shape[1])
    for column, at in (("id", 0), ("path", 1)):
        wanted = np.repeat(np.array([each[at] for each in loaded], object), counts).tolist()
        told.require(f"{name}: {column}", "rows", wanted, table[column].to_pylist())
    if not loaded:
        return
    if is_list:
        _compare_frames(name, table, columns, [arrays for _, _, arrays in loaded], told)
        return
    for column in ("channel", "time", *columns):
        _require_column(name, column, np.concatenate([a[f"{name}.{column}"] for _, _, a in loaded]), table, told)


def _compare_frames(name, table, columns, files, told):
    times, channels, values = [], [], []
    for arrays in files:
        each, moments = arrays[name], arrays[f"{name}.time"]
        frames, count = each.shape[:2]
        times.append(np.repeat(moments, count))
        channels.append(np.tile(np.arange(count, dtype=np.uint32), frames))
        values.append(each.reshape(frames * count, math.prod(each.shape[2:])))
    _require_column(name, "time", np.concatenate(times), table, told)
    _require_column(name, "channel", np.concatenate(channels), table, told)
    rows = np.concatenate(values)
    for at, column in enumerate(columns):
        _require_column(name, column, rows.ravel() if len(columns) == 1 else rows[:, at], table, told)


def _require_column(name, column, wanted, table, told):
    found = _flat(table[column])
    if wanted.dtype.kind == "S":
        told.require(f"{name}: {column}", "rows", wanted.tolist(), found.tolist())
    elif not same_bytes(np.ascontiguousarray(wanted), found):
        told.add(f"{name}: {column}", f"{len(found)} of {found.dtype}, {len(wanted)} of {wanted.dtype} expected")


def stray_arrays(dataset):
    """Files in `arrays/` that no row names."""
    named = {row["arrays"] for row in read_rows(dataset).values()}
    there = {os.path.relpath(os.path.join(base, name), dataset) for base, _, names in os.walk(dataset / "arrays")
             for name in names}
    return [f"arrays that no row names: {sorted(there - named)[:3]}"] if there - named else []
