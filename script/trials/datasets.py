"""Datasets of `qel batch`, row for row and array for array."""

import hashlib
import sqlite3

from trials import fail

TABLES = ("files", "readings", "settings", "list")  # "runs" has times, which differ


def rows(dataset):
    database = sqlite3.connect(f"file:{dataset}/dataset.sqlite?mode=ro", uri=True)
    database.text_factory = bytes
    return {table: sorted(database.execute(f"SELECT * FROM {table}"), key=repr) for table in TABLES}


def arrays(dataset):
    """Digest of every array file that a row names."""
    database = sqlite3.connect(f"file:{dataset}/dataset.sqlite?mode=ro", uri=True)
    names = [name for (name,) in database.execute("SELECT arrays FROM files WHERE arrays IS NOT NULL")]
    return {name: hashlib.sha256((dataset / name).read_bytes()).hexdigest() for name in names}


def require_equal(expected, dataset, what):
    for table, wanted in rows(expected).items():
        found = rows(dataset)[table]
        if found != wanted:
            different = [pair for pair in zip(wanted, found) if pair[0] != pair[1]][:1]
            fail(f"{what}: table {table} has {len(found)} rows, not {len(wanted)}; {different}")
    if arrays(dataset) != arrays(expected):
        fail(f"{what}: arrays differ")
    paths = [row[0] for row in rows(dataset)["files"]]
    if len(paths) != len(set(paths)) or not paths:
        fail(f"{what}: a path has several rows, or there are none")
    if list((dataset / "parts").iterdir()):
        fail(f"{what}: parts are left")
