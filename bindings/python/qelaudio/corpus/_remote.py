"""Sources at addresses of fsspec: their list, and copies of the files of one shard."""

from __future__ import annotations

import fnmatch
import hashlib
import json
import os
import posixpath
from collections.abc import Mapping, Sequence
from dataclasses import dataclass, field, replace
from typing import Any

import fsspec

from qelaudio._errors import Error
from qelaudio.corpus._scratch import scratch
from qelaudio.corpus._shards import Command, RunError, Shard, analyze
from qelaudio.corpus._storage import Place, reaching

#: Ends of names that files with audio have, as `qel batch` knows them.
ENDS = frozenset(
    """3gp aac ac3 adts aea aif aifc aiff alac amr ape asf au avi caf dff dsf dts eac3 flac flv gsm m2ts m4a m4b
    m4r m4v mka mkv mlp mov mp+ mp1 mp2 mp3 mp4 mpa mpc mpg mpeg mpp mts oga ogg ogv oma opus ra rf64 rm shn snd
    spx tak ts tta voc w64 wav webm wma wv""".split()
)
#: What tells whether an object has changed, where its file system knows it.
STAMPS = ("ETag", "mtime", "LastModified", "updated", "created")


@dataclass(frozen=True, order=True)
class RemoteFile:
    """A file, by the name of its copy, its address, its size, and its stamps as a text."""

    name: str
    address: str
    size: int
    stamp: str


@dataclass(frozen=True)
class Copies:
    """What `analyze_copies` needs for a shard.

    Attributes
    ----------
    command : Command
        With the list of all files.
    shard : Shard
    files : tuple of RemoteFile
        Those of the shard.
    whole : str
        Digest of the names of all files, which the dataset of the shard has, too.
    options : Mapping
        What their file system is opened with.
    """

    command: Command
    shard: Shard
    files: tuple[RemoteFile, ...]
    whole: str
    options: Mapping[str, Any] = field(default_factory=dict)


def name_of(address: str) -> str:
    """A relative path for the copy of a file. No two addresses have the same one."""
    protocol, _, path = address.partition("://")
    return "/".join([protocol, *(_quoted(part) for part in path.split("/"))])


def _quoted(part: str) -> str:
    text = part.replace("%", "%25").replace("\0", "%00")
    return f"%{text}" if text in ("", ".", "..") else text


def address_of(name: Any) -> Any:
    """The address of the file that has this name."""
    if not isinstance(name, str):
        return name
    protocol, *parts = name.split("/")
    plain = (part[1:] if part in ("%", "%.", "%..") else part for part in parts)
    path = "/".join(part.replace("%00", "\0").replace("%25", "%") for part in plain)
    return f"{protocol}://{path}"


def _is_wanted(path: str, matches: Sequence[str]) -> bool:
    name = posixpath.basename(path)
    if matches:
        return any(fnmatch.fnmatchcase(name, pattern) for pattern in matches)
    return "." in name and name.rpartition(".")[2].lower() in ENDS


def _found(address: str, matches: Sequence[str], options: Mapping[str, Any]) -> dict[str, Any]:
    """The files at an address, with what is known of them."""
    fs, path = fsspec.core.url_to_fs(address, **options)
    if fs.isfile(path):
        return {fs.unstrip_protocol(path): fs.info(path)}
    roots = [path] if fs.exists(path) else fs.glob(path) if set(path) & set("*?[") else []
    if not roots:
        raise Error(f"{address}: no such file or directory")
    found: dict[str, Any] = {}
    for root in roots:
        inside = fs.find(root, detail=True)
        whole = {root} if root in inside else set()
        found |= {
            fs.unstrip_protocol(name): info
            for name, info in inside.items()
            if info["type"] == "file" and (name in whole or _is_wanted(name, matches))
        }
    return found


def list_files(
    sources: Sequence[str], matches: Sequence[str], options: Mapping[str, Any]
) -> list[RemoteFile]:
    """All files in the order of `qel batch`, which is that of the bytes of their names.

    Raises
    ------
    Error
        If there is nothing at an address, or no file system for it.
    RunError
        If its file system does not answer.
    """
    found: dict[str, Any] = {}
    for source in sources:
        with reaching(source):
            found |= _found(source, matches, options)
    files = [
        RemoteFile(
            name_of(address),
            address,
            int(info.get("size") or 0),
            json.dumps([str(info[stamp]) for stamp in STAMPS if stamp in info]),
        )
        for address, info in found.items()
    ]
    return sorted(files, key=lambda file: os.fsencode(file.name))


def divide(
    files: Sequence[RemoteFile], command: Command, shards: Sequence[Shard], options: Mapping[str, Any]
) -> list[Copies]:
    """The files of each shard."""
    whole = hashlib.sha256(b"".join(os.fsencode(file.name) + b"\0" for file in files)).hexdigest()
    return [
        Copies(command, shard, tuple(files[shard.index - 1 :: shard.count]), whole, options)
        for shard in shards
    ]


def _digest(copies: Copies) -> str:
    told = [repr(copies.command.arguments), copies.whole, *map(repr, copies.files)]
    return hashlib.sha256("\n".join(told).encode("utf-8", "surrogateescape")).hexdigest()


def _fetch(copies: Copies, folder: str) -> None:
    for file in copies.files:
        fs, path = fsspec.core.url_to_fs(file.address, **copies.options)
        local = os.path.join(folder, file.name)
        os.makedirs(os.path.dirname(local), exist_ok=True)
        try:
            fs.get_file(path, local)
        except FileNotFoundError:
            continue  # its row says that it is missing
        # One time for all copies of one state: a changed time means a changed object.
        seconds = int(hashlib.sha256(file.stamp.encode()).hexdigest()[:7], 16)
        os.utime(local, (seconds, seconds))


def analyze_copies(copies: Copies) -> str:
    """Copies the files of a shard to the local disk, and analyzes them.

    A shard whose files have not changed since it was completed is not copied again.

    Returns
    -------
    str
        As `analyze`.

    Raises
    ------
    RunError
        As `analyze`, and if a file cannot be fetched.
    """
    stamp, digest = f"{copies.shard.dataset}.stamp", _digest(copies)
    if os.path.exists(stamp):
        with open(stamp) as file:
            if file.read() == digest:
                return ""
    with scratch() as folder:
        try:
            _fetch(copies, folder)
        except Exception as error:  # clients of stores have errors of their own
            raise RunError(f"shard {copies.shard.index}/{copies.shard.count}: cannot fetch to {folder}: {error}") from error
        refusal = analyze(replace(copies.command, directory=folder), copies.shard)
    if not refusal:
        Place(os.path.dirname(stamp)).write(os.path.basename(stamp), digest)
    return refusal
