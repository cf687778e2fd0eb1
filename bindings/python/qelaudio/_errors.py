"""Exceptions."""

from __future__ import annotations

import os
from typing import Any


class Error(Exception):
    """A refusal, by the library or by this package. The message is one line.

    Attributes
    ----------
    status : int or None
        The library's status, one of the constants of this module whose names begin with
        ``STATUS_``. None for what the library does not know, such as files.
    """

    def __init__(self, message: str, status: int | None = None) -> None:
        super().__init__(message)
        self.status = status


class FileError(Error):
    """A file without samples, or with damaged ones.

    Attributes
    ----------
    path : str
        The file.
    fault : str
        ``"unreadable"``: it is not there, may not be read, or is empty. ``"not audio"``: nothing in
        it can be decoded to audio. ``"damaged"``: its audio is cut or damaged. ``"no decoder"``:
        this build of the package cannot read files.
    """

    def __init__(self, path: str | os.PathLike[str], message: str, fault: str) -> None:
        self.path = os.fspath(path)
        self.fault = fault
        self._message = message
        super().__init__(f"{self.path}: {message}")

    def __reduce__(self) -> tuple[Any, ...]:
        """Pools of processes send exceptions back as copies."""
        return type(self), (self.path, self._message, self.fault)


STATUS_NO_TEMPO = -1
"""No tempo was found: audio that is silent, shorter than about 2.1 seconds, or not finite."""
STATUS_NO_METER = -3
"""No number of beats per bar was found."""
STATUS_UNKNOWN = -3860
"""Unknown key, parameter or name of a value."""
STATUS_BAD_FORMAT = -3865
"""Audio, an argument or a parameter that does not fit."""
STATUS_NOT_READY = -3866
"""An analyzer that is in use, has ended its stream, or was interrupted."""
