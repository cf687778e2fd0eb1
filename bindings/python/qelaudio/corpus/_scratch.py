"""Directories for temporary files. Those of processes that were killed are removed by the next process."""

from __future__ import annotations

import contextlib
import fcntl
import glob
import os
import shutil
import tempfile
from collections.abc import Iterator

PREFIX = "qelaudio-"
#: A file that is locked as long as the process lives.
LOCK = "lock"


def _remove_if_left(folder: str) -> None:
    with contextlib.suppress(OSError), open(os.path.join(folder, LOCK), "rb") as lock:
        if os.lstat(folder).st_uid == os.getuid():
            fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
            shutil.rmtree(folder, ignore_errors=True)


def sweep() -> None:
    """Removes the directories that killed processes have left in the directory for temporary files."""
    for folder in glob.glob(os.path.join(glob.escape(tempfile.gettempdir()), f"{PREFIX}*")):
        _remove_if_left(folder)


@contextlib.contextmanager
def scratch() -> Iterator[str]:
    """An empty directory, removed at the end, or by `sweep` if the process is killed."""
    sweep()
    folder = tempfile.mkdtemp(prefix=PREFIX)
    try:
        with open(os.path.join(folder, LOCK), "wb") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            files = os.path.join(folder, "files")
            os.mkdir(files)
            yield files
            shutil.rmtree(folder, ignore_errors=True)  # while nobody else does
    finally:
        shutil.rmtree(folder, ignore_errors=True)
