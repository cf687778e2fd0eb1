"""Partitions of a Parquet dataset, each written by a task of its own."""

from __future__ import annotations

import contextlib
import os
import sqlite3
from collections.abc import Iterable, Iterator, Mapping
from dataclasses import dataclass
from typing import Any

import numpy as np
import pyarrow as pa
import pyarrow.parquet as pq

from qelaudio._keys import Key
from qelaudio.corpus import _keytables
from qelaudio.corpus._shards import RunError
from qelaudio.corpus._storage import Place
from qelaudio.corpus._tables import PARTITION, Rename, batches, id_of, open_tables, schema_of, text_of

TABLES = ("files", "readings", "runs")
#: Bytes of rows that become a row group. A task holds as much for each key.
GROUP_BYTES = 8 << 20
MOST_DIGITS = 4
#: A partition should have no more than this.
PARTITION_FILES = 100_000
PARTITION_BYTES = 8 << 30


@dataclass(frozen=True)
class Partition:
    """What a task needs to write all tables of the files whose identity begins with some digits.

    Attributes
    ----------
    merged : str
        Directory of the dataset of ``qel merge``.
    index : str
        File with the identity of every path, by `write_index`.
    out : Place
    prefix : str
    keys : str
        Names, as in the settings of the dataset.
    metadata : Mapping
        Of all schemas.
    rename : callable
        From paths of the tool to those of the tables.
    """

    merged: str
    index: str
    out: Place
    prefix: str
    keys: str
    metadata: Mapping[str, str]
    rename: Rename


def tables_of(merged: str) -> str:
    """The file with the tables of a dataset."""
    return os.path.join(merged, "dataset.sqlite")


def write_index(merged: str, index: str, rename: Rename) -> None:
    """Makes a table of identities, sorted by them, so that each partition reads its files alone.

    Raises
    ------
    RunError
        If it cannot be written. Nothing of it is left.
    """
    with contextlib.suppress(FileNotFoundError):
        os.remove(index)
    try:
        with contextlib.closing(open_tables(index, writes=True)) as database:
            database.create_function("id_of", 1, lambda path: id_of(rename(path)))
            database.execute("PRAGMA journal_mode=OFF")
            database.execute("ATTACH ? AS merged", (tables_of(merged),))
            database.execute("CREATE TABLE ids(id TEXT PRIMARY KEY, path) WITHOUT ROWID")
            database.execute("INSERT INTO ids SELECT id_of(path) AS id, path FROM merged.files ORDER BY id")
            database.commit()
    except sqlite3.Error as error:
        with contextlib.suppress(OSError):
            os.remove(index)
        raise RunError(f"{index}: cannot write: {error}") from None


def prefixes(merged: str, index: str) -> list[str]:
    """The prefixes that have files; the first of all for a dataset without files.

    Their digits are as few as keep a partition below `PARTITION_FILES` and `PARTITION_BYTES`.
    """
    with contextlib.closing(open_tables(tables_of(merged))) as tables:
        query = "SELECT count(*), coalesce(sum(arrays_bytes), 0) FROM files"
        files, size = tables.execute(query).fetchone()
    parts = max(files / PARTITION_FILES, size / PARTITION_BYTES)
    digits = next((count for count in range(1, MOST_DIGITS) if 16**count >= parts), MOST_DIGITS)
    with contextlib.closing(open_tables(index)) as database:
        found = database.execute(f"SELECT DISTINCT substr(id, 1, {digits}) FROM ids ORDER BY 1")
        return [prefix for (prefix,) in found] or ["0" * digits]


class _Writer:
    """A Parquet file that gets rows in pieces of any size."""

    def __init__(self, file: Any, schema: Any) -> None:
        self._writer = pq.ParquetWriter(file, schema, compression="zstd")
        self._waiting: list[Any] = []
        self._bytes = 0

    def add(self, table: Any) -> None:
        self._waiting.append(table)
        self._bytes += table.nbytes
        if self._bytes >= GROUP_BYTES:
            self._flush()

    def _flush(self) -> None:
        if self._waiting:
            self._writer.write_table(pa.concat_tables(self._waiting))
        self._waiting, self._bytes = [], 0

    def close(self) -> None:
        self._flush()
        self._writer.close()

    def abandon(self) -> None:
        """Ends the writer while its file is open: later, it would complain on standard error."""
        with contextlib.suppress(Exception):
            self._writer.close()


def name_of(table: str, prefix: str) -> str:
    """The file of a partition. The letter keeps readers from taking digits for numbers."""
    return f"{table}/{PARTITION}=x{prefix}/part-0.parquet"


def table_names(keys: Iterable[Key]) -> list[str]:
    """The tables of a dataset."""
    return [*TABLES, *(f"keys/{_keytables.folder_of(key)}" for key in keys)]


@contextlib.contextmanager
def _writing(partition: Partition, table: str, schema: Any) -> Iterator[_Writer]:
    with partition.out.writing(name_of(table, partition.prefix)) as file:
        writer = _Writer(file, schema)
        try:
            yield writer
            writer.close()
        except BaseException:
            writer.abandon()
            raise


def _rows(tables: Any, table: str, prefix: str) -> Iterator[tuple[Any, ...]]:
    """The rows of a partition, in the order of their paths."""
    query = f"SELECT t.* FROM ids.ids AS i JOIN {table} AS t ON t.path = i.path "
    return iter(tables.execute(query + "WHERE i.id >= ? AND i.id < ? ORDER BY t.path", (prefix, prefix + "g")))


def _write_keys(partition: Partition, tables: Any) -> None:
    wanted = _keytables.keys_named(partition.keys)
    with contextlib.ExitStack() as stack:
        writers = {}
        for key in wanted:
            schema = _keytables.schema_of(key, partition.metadata)
            table = f"keys/{_keytables.folder_of(key)}"
            writers[key] = schema, stack.enter_context(_writing(partition, table, schema))
        columns = [column[1] for column in tables.execute("PRAGMA table_info(files)")]
        at = columns.index("arrays")
        for row in _rows(tables, "files", partition.prefix) if wanted else ():
            if row[at] is None:
                continue
            path = partition.rename(row[0])
            with np.load(os.path.join(partition.merged, row[at])) as arrays:
                for key, (schema, writer) in writers.items():
                    writer.add(_keytables.table_of(key, arrays, id_of(path), text_of(path), schema))


def write_partition(partition: Partition) -> list[str]:
    """Writes the files of a partition.

    A second attempt replaces them by the same ones.

    Returns
    -------
    list of str
        Their names.
    """
    with contextlib.closing(open_tables(tables_of(partition.merged))) as tables:
        tables.execute("ATTACH ? AS ids", (partition.index,))
        for table in TABLES:
            schema = schema_of(tables, table, partition.metadata)
            with _writing(partition, table, schema) as writer:
                for batch in batches(_rows(tables, table, partition.prefix), schema, partition.rename):
                    writer.add(pa.Table.from_batches([batch]))
        _write_keys(partition, tables)
    wanted = _keytables.keys_named(partition.keys)
    return [name_of(table, partition.prefix) for table in table_names(wanted)]
