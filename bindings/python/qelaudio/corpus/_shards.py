"""Shards: each is analyzed by ``qel batch`` in a process of its own."""

from __future__ import annotations

import contextlib
import os
import shutil
import subprocess
from collections.abc import Iterable
from dataclasses import dataclass

from qelaudio._errors import Error

#: Exit status of the tool for a command that it refuses. To try again would not help.
USAGE = 2
_RUNNING: set[subprocess.Popen[bytes]] = set()


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
    """Part ``index`` of ``count`` parts of the list of files, its dataset, and the file with that list."""

    index: int
    count: int
    dataset: str
    list: str


class RunError(Error):
    """A run has failed, and the same call continues it. Other errors are refusals of a call."""


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
    with subprocess.Popen(
        [*_ends_with_parent(), os.path.abspath(tool), *arguments],
        cwd=directory,
        stdin=subprocess.DEVNULL,
        stdout=subprocess.DEVNULL,
        stderr=subprocess.PIPE,
    ) as process:
        _RUNNING.add(process)
        try:
            told = process.communicate()[1]
        except BaseException:
            process.kill()
            raise
        finally:
            _RUNNING.discard(process)
    complaint = told.decode("utf-8", "backslashreplace").strip()
    return process.returncode, complaint.removeprefix("qel: ")


def stop_tools() -> None:
    """Ends the tools that threads of this process wait for. Their shards can be continued."""
    for process in list(_RUNNING):
        process.terminate()


def make_list(command: Command, path: str) -> str:
    """Lists all files, once for all shards.

    Returns
    -------
    str
        Why the list is empty, which may be a mistake; empty if it is not.

    Raises
    ------
    Error
        If the command is refused.
    RunError
        If the list cannot be written.
    """
    with contextlib.suppress(FileNotFoundError):
        os.remove(path)
    arguments = ["batch", "--list-only", "--quiet", "--out", path, *command.arguments]
    status, complaint = call(command.qel, arguments, command.directory)
    if status == USAGE:
        raise Error(complaint or "qel batch refused the command")
    if not os.path.exists(path):
        raise RunError(complaint or f"qel batch ended with status {status}")
    return complaint


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
    part = ["--shard", f"{shard.index}/{shard.count}", "--list", shard.list, "--out", shard.dataset, "--quiet"]
    status, complaint = call(command.qel, ["batch", *part, *command.arguments], command.directory)
    if status == USAGE:
        return complaint or "qel batch refused the command"
    # Faults of files are rows: a status of 1 without a complaint is theirs.
    if status not in (0, 1) or complaint:
        reason = complaint or f"qel batch ended with status {status}"
        raise RunError(f"shard {shard.index}/{shard.count}: {reason}")
    return ""
