"""Datasets of `qel batch`, row for row and array for array."""

import contextlib
import hashlib
import sqlite3

from trials import fail

TABLES = ("files", "readings", "settings", "list")  # "runs" has times, which differ


def open_tables(dataset):
    return contextlib.closing(sqlite3.connect(f"file:{dataset}/dataset.sqlite?mode=ro", uri=True))


def rows(dataset):
    with open_tables(dataset) as database:
        database.text_factory = bytes
        return {table: sorted(database.execute(f"SELECT * FROM {table}"), key=repr) for table in TABLES}


def arrays(dataset):
    """Digest of every array file that a row names."""
    with open_tables(dataset) as database:
        names = [name for (name,) in database.execute("SELECT arrays FROM files WHERE arrays IS NOT NULL")]
    return {name: hashlib.sha256((dataset / name).read_bytes()).hexdigest() for name in names}


def differences(expected, dataset):
    """What of a dataset is not as it is in another one, a line for each kind."""
    wanted_rows, found_rows = rows(expected), rows(dataset)
    told = []
    for table, wanted in wanted_rows.items():
        found = found_rows[table]
        if found != wanted:
            pairs = [pair for pair in zip(wanted, found) if pair[0] != pair[1]]
            told.append(f"table {table} has {len(found)} rows, not {len(wanted)}; {len(pairs)} differ: {pairs[:1]}")
    if arrays(dataset) != arrays(expected):
        told.append("arrays differ")
    paths = [row[0] for row in found_rows["files"]]
    if len(paths) != len(set(paths)) or not paths:
        told.append("a path has several rows, or there are none")
    if list((dataset / "parts").iterdir()):
        told.append("parts are left")
    return told


def require_equal(expected, dataset, what):
    for line in differences(expected, dataset):
        fail(f"{what}: {line}")
