"""Directories at any address that fsspec knows: local ones, and those of object stores."""

from __future__ import annotations

import contextlib
import glob
import os
import uuid
from collections.abc import Iterable, Iterator, Mapping
from dataclasses import dataclass, field
from functools import cached_property
from typing import IO, Any

import fsspec

from qelaudio._errors import Error
from qelaudio.corpus._shards import RunError

#: Names that begin like this are no data to readers of Parquet datasets.
HIDDEN = (".", "_")


@contextlib.contextmanager
def reaching(address: str) -> Iterator[None]:
    """Names the address in errors of its file system, which may be of any kind.

    Raises
    ------
    Error
        If there is no such file system here.
    RunError
        If it does not answer, or refuses.
    """
    try:
        yield
    except Error:
        raise
    except (ImportError, ValueError) as error:
        raise Error(f"{address}: cannot be opened: {error}") from None
    except Exception as error:
        if isinstance(error, OSError) and error.filename is not None:
            raise
        raise RunError(f"{address}: cannot be reached: {error}") from None


@dataclass(frozen=True)
class Place:
    """A directory, which other processes can open, too.

    Attributes
    ----------
    address : str
        A path or the address of an fsspec file system, such as ``s3://bucket/features``.
    options : Mapping
        What the file system is opened with.
    """

    address: str
    options: Mapping[str, Any] = field(default_factory=dict)

    @cached_property
    def _opened(self) -> tuple[Any, str]:
        fs, path = fsspec.core.url_to_fs(self.address, **self.options)
        return fs, path.rstrip("/") or "/"

    @property
    def fs(self) -> Any:
        """The file system."""
        return self._opened[0]

    @property
    def path(self) -> str:
        """The directory within its file system."""
        return self._opened[1]

    @property
    def is_local(self) -> bool:
        """Whether other programs of this machine can open its files by their paths."""
        return "file" in _protocols(self.fs)

    def full(self, name: str) -> str:
        """The path of a file of this directory within the file system."""
        return f"{self.path}/{name}"

    def names(self, below: str = "") -> list[str]:
        """All files at any depth, as paths from this directory."""
        top = self.full(below) if below else self.path
        self.fs.invalidate_cache()  # other processes write
        found = self.fs.find(top) if self.fs.exists(top) else []
        return sorted(os.path.relpath(name, self.path) for name in found)

    def is_empty(self) -> bool:
        """Whether there is no file in it, or no such directory."""
        return not self.names()

    def read(self, name: str) -> str | None:
        """The text of a file; None if there is none."""
        try:
            text: str = self.fs.cat_file(self.full(name)).decode("utf-8", "surrogateescape")
        except FileNotFoundError:
            return None
        return text

    def remove(self, names: Iterable[str]) -> None:
        """Removes files that may be gone already."""
        for name in names:
            with contextlib.suppress(FileNotFoundError):
                self.fs.rm_file(self.full(name))

    @contextlib.contextmanager
    def writing(self, name: str) -> Iterator[IO[bytes]]:
        """A new file, which gets its name when it is whole and replaces an earlier one.

        Object stores show a file when it is closed. A local one has another name until then.

        Raises
        ------
        RunError
            If it cannot be written, such as on a full disk. Nothing of it is left.
        """
        target = self.full(name)
        folder = os.path.dirname(target)
        self.fs.makedirs(folder, exist_ok=True)
        begun = f"{folder}/.{uuid.uuid4().hex}.begun" if self.is_local else target
        file = self.fs.open(begun, "wb", **({} if self.is_local else {"autocommit": False}))
        try:
            yield file
            file.close()
        except BaseException as error:
            self._drop(file, begun)
            if isinstance(error, OSError) and error.filename is None:  # of a write: it names no file
                raise RunError(f"{self.address}: cannot write {name}: {error.strerror or error}") from None
            raise
        if self.is_local:
            os.replace(begun, target)
        else:
            file.commit()

    def _drop(self, file: Any, begun: str) -> None:
        if not self.is_local:
            file.discard()
            return
        with contextlib.suppress(OSError):  # on a full disk, what is still in its buffer
            file.close()
        with contextlib.suppress(OSError):
            os.remove(begun)

    def sweep(self) -> None:
        """Removes the files of this directory that killed processes have begun."""
        for path in glob.glob(f"{glob.escape(self.path)}/.*.begun") if self.is_local else ():
            with contextlib.suppress(OSError):
                os.remove(path)

    def write(self, name: str, text: str) -> None:
        """Writes a whole file."""
        with self.writing(name) as file:
            file.write(text.encode("utf-8", "surrogateescape"))


def _protocols(fs: Any) -> tuple[str, ...]:
    names = fs.protocol
    return (names,) if isinstance(names, str) else tuple(names)


def is_remote(address: str) -> bool:
    """Whether something is the address of a file system other than the local one.

    A file whose name only looks like an address is a file.
    """
    if "://" not in address or os.path.lexists(address):
        return False
    return fsspec.core.split_protocol(address)[0] not in ("file", "local")
