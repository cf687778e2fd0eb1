"""A run over a corpus: shards by Dask, one dataset of them, and Parquet tables."""

from __future__ import annotations

import contextlib
import fcntl
import logging
import os
import re
import shutil
import sys
from collections.abc import Callable, Iterable, Iterator, Mapping, Sequence
from dataclasses import dataclass, replace
from functools import partial
from typing import Any

from qelaudio._core import version
from qelaudio._errors import Error
from qelaudio.corpus._arguments import (
    arguments_of,
    path_of,
    require_client,
    require_count,
    require_progress,
    require_storage_options,
    sources_of,
    texts_of,
    writable,
)
from qelaudio.corpus._dask import client_of, map_tasks
from qelaudio.corpus._partitions import (
    Partition,
    prefixes,
    table_names,
    tables_of,
    write_index,
    write_partition,
)
from qelaudio.corpus._keytables import keys_named
from qelaudio.corpus._remote import RemoteFile, address_of, analyze_copies, divide, list_files
from qelaudio.corpus._scratch import scratch
from qelaudio.corpus._shards import Command, RunError, Shard, analyze, call, make_list
from qelaudio.corpus._storage import HIDDEN, Place, is_remote, reaching
from qelaudio.corpus._tables import Rename, open_tables

SHARDS_PER_THREAD = 4
SETTINGS = "_settings"
#: There while all tables are complete.
SUCCESS = "_SUCCESS"
WORK = "_work"
#: In the directory of the shards: addresses of remote files, and the list that all shards read.
NAMES = "list"
LIST = "files.list"
LOG = logging.getLogger("qelaudio.corpus")
_SHARD = re.compile(r"shard-(\d+)-of-(\d+)")

Paths = str | os.PathLike[str] | Iterable[str | os.PathLike[str]]
Progress = Callable[[str, int, int], None]


@dataclass(frozen=True)
class Corpus:
    """What a run has left.

    Attributes
    ----------
    address : str
        Directory of the Parquet dataset.
    tables : dict of str to str
        Directory of each table, by its name: ``"files"``, ``"readings"``, ``"runs"``, and the names of
        the keys.
    statuses : dict of str to int
        Files by their status.
    dataset : str
        The dataset of ``qel merge`` with the same rows and with the arrays.
    """

    address: str
    tables: dict[str, str]
    statuses: dict[str, int]
    dataset: str

    @property
    def files(self) -> int:
        """All files."""
        return sum(self.statuses.values())

    @property
    def errors(self) -> int:
        """Files with an error."""
        return self.files - self.statuses.get("ok", 0)


@contextlib.contextmanager
def _alone(work: str) -> Iterator[None]:
    """Refuses a second run in the same directory."""
    with writable(work, lambda: open(os.path.join(work, "lock"), "ab")) as lock:
        try:
            fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            raise RunError(f"{work}: another run is writing; try again after it has ended") from None
        yield


def _count_of(work: str, shards: int | None, client: Any) -> int:
    """How many shards there are: as many as an earlier run has begun with."""
    found = (_SHARD.fullmatch(name) for name in os.listdir(work))
    begun = {int(match[2]) for match in found if match}
    if shards is not None and begun - {shards}:
        raise Error(f"{work}: was begun with {max(begun)} shards, not {shards}; name another directory for work")
    if begun:
        return max(begun)
    return shards or SHARDS_PER_THREAD * max(1, sum(client.nthreads().values()))


def _as_it_is(path: Any) -> Any:
    return path


@dataclass(frozen=True)
class _Request:
    """What is wanted of a run, with everything that its command line needs."""

    qel: str
    sources: list[str]
    arguments: list[str]
    matches: list[str]
    storage: dict[str, Any]

    @property
    def is_remote(self) -> bool:
        return any(map(is_remote, self.sources))

    def command(self, *files: str) -> Command:
        return Command(self.qel, os.getcwd(), (*self.arguments, *files))


@dataclass(frozen=True)
class _Listing:
    """The files of a run, listed once: what is called for each shard, and with what."""

    request: _Request
    command: Command
    work: str
    files: list[RemoteFile]  # those of an object store

    def tasks(self, shards: Sequence[Shard]) -> tuple[Any, list[Any]]:
        if not self.request.is_remote:
            return partial(analyze, self.command), list(shards)
        return analyze_copies, divide(self.files, self.command, shards, self.request.storage)


def _list_all(request: _Request, work: str) -> _Listing:
    """Makes the list that all shards read. The tool refuses here what it does not take."""
    path = os.path.join(work, LIST)
    if not request.is_remote:
        command = request.command("--", *request.sources)
        reason = make_list(command, path)
        if reason:
            LOG.warning("%s", reason)
        return _Listing(request, command, work, [])
    if not all(map(is_remote, request.sources)):
        raise Error("sources: are local and remote ones; pass either")
    if "--files-from" in request.arguments:
        raise Error("files_from: a list cannot be joined with remote sources")
    files = list_files(request.sources, request.matches, request.storage)
    if not files:
        LOG.warning("%s: no audio files there", request.sources[0])
    with Place(work).writing(NAMES) as file:
        file.writelines(os.fsencode(each.name) + b"\0" for each in files)
    command = request.command("--null", "--files-from", os.path.join(work, NAMES))
    with scratch() as folder:  # where the names are those of no file
        make_list(replace(command, directory=folder), path)
    return _Listing(request, command, work, files)


def _analyze_all(client: Any, listing: _Listing, count: int, told: Progress) -> list[Shard]:
    work = listing.work
    shards = [
        Shard(index, count, os.path.join(work, f"shard-{index:06}-of-{count:06}"), os.path.join(work, LIST))
        for index in range(1, count + 1)
    ]
    os.makedirs(shards[0].dataset, exist_ok=True)  # the number of shards is decided now
    task, items = listing.tasks(shards)
    for refusal in map_tasks(client, task, items, lambda n: told("shards", n, count)):
        if refusal:
            raise Error(refusal)
    return shards


def _merge(command: Command, shards: Sequence[Shard], merged: str) -> None:
    if os.path.exists(merged):
        shutil.rmtree(merged)
    datasets = [shard.dataset for shard in shards]
    status, complaint = call(command.qel, ["merge", *datasets, "--out", merged], command.directory)
    if status not in (0, 1) or complaint:
        raise RunError(complaint or f"qel merge ended with status {status}")


def _settings_of(merged: str) -> dict[str, str]:
    with contextlib.closing(open_tables(tables_of(merged))) as tables:
        return dict(tables.execute("SELECT name, value FROM settings ORDER BY name"))


def _text_of(settings: Mapping[str, str]) -> str:
    return "".join(f"{name}\t{value}\n" for name, value in settings.items())


def _require_place(out: Place) -> None:
    """Nothing but an earlier run's tables may be there."""
    if out.is_local and os.path.exists(out.path) and not os.path.isdir(out.path):
        raise Error(f"{out.address}: is a file; name a directory")
    others = [name for name in out.names() if not name.startswith(HIDDEN)]
    if others and out.read(SETTINGS) is None:
        raise Error(f"{out.address}: is not empty, and no corpus; name another directory")


def _begin_tables(out: Place, settings: Mapping[str, str]) -> None:
    text, there = _text_of(settings), out.read(SETTINGS)
    if there is not None and there != text:
        lines = zip(there.splitlines(), text.splitlines(), strict=False)
        old, new = next(((a, b) for a, b in lines if a != b), (there, text))
        told = [" ".join(line.split("\t")) for line in (old, new)]
        raise Error(f'{out.address}: was made with "{told[0]}", not "{told[1]}"; name another directory')
    out.remove([SUCCESS])
    out.write(SETTINGS, text)


def _write_tables(client: Any, merged: str, out: Place, rename: Rename, told: Progress) -> dict[str, str]:
    settings = _settings_of(merged)
    with reaching(out.address):
        _begin_tables(out, settings)
    index = f"{merged}.ids"
    write_index(merged, index, rename)
    metadata = {"qel": settings["qel"], "qelaudio": version, "settings": _text_of(settings)}
    parts = [
        Partition(merged, index, out, prefix, settings["--keys"], metadata, rename)
        for prefix in prefixes(merged, index)
    ]
    written = map_tasks(client, write_partition, parts, lambda n: told("partitions", n, len(parts)))
    expected = {name for names in written for name in names}
    with reaching(out.address):
        out.remove(name for name in out.names() if not name.startswith(HIDDEN) and name not in expected)
        out.write(SUCCESS, "")
    os.remove(index)
    names = [*("files", "readings", "runs"), *(key.name for key in keys_named(settings["--keys"]))]
    folders = table_names(keys_named(settings["--keys"]))
    return {name: f"{out.address}/{folder}" for name, folder in zip(names, folders, strict=True)}


def _statuses_of(merged: str) -> dict[str, int]:
    with contextlib.closing(open_tables(tables_of(merged))) as tables:
        return dict(tables.execute("SELECT status, count(*) FROM files GROUP BY status ORDER BY status"))


def _work_of(out: Place, work: str | os.PathLike[str] | None) -> str:
    if work is None and not out.is_local:
        raise Error(f"{out.address}: is not local; name a directory for the datasets of shards with work")
    path = os.path.abspath(path_of("work", work) if work is not None else out.full(WORK))
    writable(path, lambda: os.makedirs(path, exist_ok=True))
    return path


def show(what: str, done: int, count: int) -> None:
    """Progress as one line of a terminal."""
    if sys.stderr.isatty():
        print(f"\r{done} of {count} {what} ", end="\n" if done == count else "", file=sys.stderr, flush=True)


def run(
    sources: Paths,
    out: str | os.PathLike[str],
    *,
    keys: str | Iterable[str] = (),
    readings: str | Iterable[str] | None = None,
    client: Any = None,
    work: str | os.PathLike[str] | None = None,
    shards: int | None = None,
    jobs: int = 1,
    qel: str | os.PathLike[str] = "qel",
    storage_options: Mapping[str, Any] | None = None,
    progress: Progress = show,
    verbose: bool = False,
    **options: Any,
) -> Corpus:
    """Analyzes a corpus with Dask into a Parquet dataset.

    The same call continues a run that was stopped anywhere, and brings a dataset up to date.

    Parameters
    ----------
    sources : path or iterable of paths
        Files, directories and patterns, as for ``qel batch``, which every worker must see; or fsspec
        addresses of them, such as ``s3://bucket/music``.
    out : path
        Directory of the Parquet dataset, or its fsspec address, such as ``s3://bucket/features``.
    keys : str or iterable of str
        Keys, each of which becomes a table.
    readings : str, iterable of str or None
        Readings; None for all five, an empty iterable for none.
    client : distributed.Client, str or None
        A client of Dask or the address of a scheduler. None: a cluster of this machine, which is
        closed at the end.
    work : path or None
        Directory of the datasets of shards, which every worker must see. None: ``_work`` in `out`.
    shards : int or None
        Into how many parts the files are divided. None: as in an earlier run, otherwise four for
        each thread of the workers.
    jobs : int
        Processes that ``qel batch`` takes for a shard.
    qel : path
        The tool, where the workers find it.
    storage_options : Mapping or None
        What the file systems of addresses are opened with.
    progress : callable
        Is called with ``"shards"`` or ``"partitions"``, the number of those done, and of all.
    verbose : bool
        Shows the log of Dask, with its warnings, for a cluster of this machine.
    **options
        Other options of ``qel batch``: `files_from`, `null`, `match`, `param`, `mix`, `block`,
        `hash`, `retry_errors`, `time_limit`, `memory_limit`.

    Returns
    -------
    Corpus

    Raises
    ------
    Error
        If an argument is wrong or the tool refuses the command, if `out` has something else, if another
        run writes to it, or if a shard has failed four times. The same call continues.
    """
    require_count("shards", shards, may_be_none=True)
    require_count("jobs", jobs)
    require_client(client)
    require_storage_options(storage_options)
    require_progress(progress)
    listed = sources_of(sources, options)
    arguments = arguments_of(
        texts_of("keys", keys, "the name of a key or several names"),
        None if readings is None else texts_of("readings", readings, "the name of a reading or several names"),
        options,
    )
    place = Place(path_of("out", out), dict(storage_options or {}))
    with reaching(place.address):
        _require_place(place)
    request = _Request(
        path_of("qel", qel),
        listed,
        ["--jobs", str(jobs), *arguments],
        texts_of("match", options.get("match") or (), "a pattern or several patterns"),
        dict(storage_options or {}),
    )
    folder = _work_of(place, work)
    merged = os.path.join(folder, "merged")
    with _alone(folder):
        for each in (place, Place(folder)):
            each.sweep()
        listing = _list_all(request, folder)
        with client_of(client, verbose) as opened:
            count = _count_of(folder, shards, opened)
            _merge(request.command(), _analyze_all(opened, listing, count, progress), merged)
            rename = address_of if request.is_remote else _as_it_is
            tables = _write_tables(opened, merged, place, rename, progress)
    return Corpus(place.address, tables, _statuses_of(merged), merged)
