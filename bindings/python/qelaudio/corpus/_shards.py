"""Shards: each is analyzed by ``qel batch`` in a process of its own."""

from __future__ import annotations

import os
import shutil
import subprocess
from collections.abc import Iterable, Mapping, Sequence
from dataclasses import dataclass
from typing import Any

from qelaudio._errors import Error

#: Exit status of the tool for a command that it refuses. To try again would not help.
USAGE = 2
#: Options of ``qel batch`` that `run` takes by their names, with underscores for hyphens: True for a
#: list of values, False for one value, None for a flag.
OPTIONS: Mapping[str, bool | None] = {
    "files_from": True,
    "null": None,
    "match": True,
    "param": True,
    "mix": False,
    "block": False,
    "hash": None,
    "retry_errors": None,
    "time_limit": False,
    "memory_limit": False,
}


@dataclass(frozen=True)
class Command:
    """What ``qel batch`` is called with, for whichever shard.

    Attributes
    ----------
    qel : str
        The tool, by its path or by a name that is looked up where the shard is analyzed.
    directory : str
        Where it works: paths of sources count from here.
    arguments : tuple of str
        Options and sources.
    """

    qel: str
    directory: str
    arguments: tuple[str, ...]


@dataclass(frozen=True)
class Shard:
    """Part ``index`` of ``count`` parts of the list of files, and its dataset."""

    index: int
    count: int
    dataset: str


class RunError(Error):
    """A run has failed, and the same call continues it. Other errors are refusals of a call."""


def _text(value: Any) -> str:
    return os.fsdecode(value) if isinstance(value, (str, bytes, os.PathLike)) else str(value)


def arguments_of(keys: Sequence[str], readings: Sequence[str] | None, options: Mapping[str, Any]) -> list[str]:
    """The options of the command line.

    Raises
    ------
    Error
        For an option that ``qel batch`` does not have.
    """
    arguments: list[str] = ["--keys", ",".join(keys)] if keys else []
    if readings is not None:
        arguments += ["--readings", ",".join(readings) or "none"]
    for name, value in options.items():
        if name not in OPTIONS:
            raise Error(f'unknown option "{name}"; there are {", ".join(OPTIONS)}')
        if name == "files_from" and "-" in (value or ()):
            raise Error("files_from: every shard reads the list, and only a file can be read again")
        option = "--" + name.replace("_", "-")
        if OPTIONS[name] is None:
            arguments += [option] if value else []
        elif value is not None:
            values = value if OPTIONS[name] and not isinstance(value, (str, os.PathLike)) else [value]
            arguments += [text for each in values for text in (option, _text(each))]
    return arguments


def _ends_with_parent() -> list[str]:
    """A worker that is killed takes its tool along, where util-linux can do that."""
    setpriv = shutil.which("setpriv")
    return [setpriv, "--pdeathsig", "TERM"] if setpriv else []


def call(qel: str, arguments: Iterable[str], directory: str) -> tuple[int, str]:
    """Runs the tool.

    Returns
    -------
    tuple of int and str
        Exit status, negative for a signal, and what it complained of.
    """
    tool = shutil.which(qel)
    if tool is None:
        return USAGE, f"{qel}: there is no such program; install qel, or pass its path"
    done = subprocess.run(
        [*_ends_with_parent(), tool, *arguments],
        cwd=directory,
        stdin=subprocess.DEVNULL,
        stdout=subprocess.DEVNULL,
        stderr=subprocess.PIPE,
    )
    return done.returncode, done.stderr.decode("utf-8", "backslashreplace").strip()


def analyze(command: Command, shard: Shard) -> str:
    """Analyzes a shard, or continues it.

    Returns
    -------
    str
        Why the command was refused; empty if the shard is complete.

    Raises
    ------
    RunError
        If another attempt may succeed: the process was killed, its disk is full, or an earlier
        attempt is still at work.
    """
    part = ["--shard", f"{shard.index}/{shard.count}", "--out", shard.dataset, "--quiet"]
    status, complaint = call(command.qel, ["batch", *part, *command.arguments], command.directory)
    if status == USAGE:
        return complaint or "qel batch refused the command"
    # Faults of files are rows: a status of 1 without a complaint is theirs.
    if status not in (0, 1) or complaint:
        reason = complaint or f"qel batch ended with status {status}"
        raise RunError(f"shard {shard.index}/{shard.count}: {reason}")
    return ""
