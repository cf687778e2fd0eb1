"""Datasets of `qelaudio.corpus`: Parquet tables byte for byte, and the dataset of `qel merge` below them."""

import hashlib

from trials import fail
from trials.datasets import require_equal


def digests(folder):
    """The digest of every file at any depth, by its path; "runs" has times, which differ."""
    found = {}
    for path in sorted(folder.rglob("*")):
        name = path.relative_to(folder)
        if path.is_file():
            is_free = "runs" in name.parts or name.name in ("dataset.sqlite", "lock")
            found[str(name)] = "" if is_free else hashlib.sha256(path.read_bytes()).hexdigest()
    return found


def require_same_tables(expected, found, what):
    """The same files with the same bytes, nothing left over; the shards' arrays and the merged dataset among them."""
    wanted, there = digests(expected), digests(found)
    for name in sorted(wanted.keys() | there.keys()):
        if name not in there:
            fail(f"{what}: {name} is missing")
        if name not in wanted:
            fail(f"{what}: {name} is left over")
        if wanted[name] != there[name]:
            fail(f"{what}: {name} has other bytes")
    if not any(name.endswith(".parquet") for name in wanted):
        fail(f"{what}: there are no tables")
    require_equal(expected / "_work/merged", found / "_work/merged", what)
