"""The arguments of a run: what is refused, each with one sentence."""

from __future__ import annotations

import difflib
import os
from collections.abc import Callable, Iterable, Mapping, Sequence
from typing import Any

from qelaudio._errors import Error

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
#: Options whose value is a number.
_NUMBERS = frozenset(("block", "time_limit", "memory_limit"))
_PATHS = (str, bytes, os.PathLike)


def _kind(value: Any) -> str:
    """A value in words: "None", or its type with its article."""
    if value is None:
        return "None"
    name = type(value).__name__
    return f"{'an' if name[0].lower() in 'aeiou' else 'a'} {name}"


def path_of(name: str, value: Any) -> str:
    """A path as a text.

    Raises
    ------
    Error
        If it is none.
    """
    if not isinstance(value, _PATHS):
        raise Error(f"{name}: is {_kind(value)}; pass a path")
    text = os.fsdecode(value)
    if not text:
        raise Error(f"{name}: is an empty path")
    return text


def texts_of(name: str, value: Any, what: str) -> list[str]:
    """One text or path, or several of them, as a list.

    Raises
    ------
    Error
        If it is something else. `what` says what to pass.
    """
    several = [value] if isinstance(value, _PATHS) else value
    if isinstance(several, Mapping) or not isinstance(several, Iterable):
        raise Error(f"{name}: is {_kind(value)}; pass {what}")
    texts = list(several)
    for each in texts:
        if not isinstance(each, _PATHS):
            raise Error(f"{name}: has {_kind(each)}; pass {what}")
    return [os.fsdecode(each) for each in texts]


def sources_of(value: Any, options: Mapping[str, Any]) -> list[str]:
    """Files, directories and patterns; none only if a list names the files."""
    sources = texts_of("sources", value, "a path or several paths")
    if not sources and not options.get("files_from"):
        raise Error("sources: are empty; name files, directories or patterns, or a list with files_from")
    if "" in sources:
        raise Error("sources: one of them is an empty path")
    return sources


def require_count(name: str, value: Any, *, may_be_none: bool = False) -> None:
    """Refuses what is no whole number from 1 on."""
    if value is None and may_be_none:
        return
    if not isinstance(value, int) or isinstance(value, bool):
        raise Error(f"{name}: is {_kind(value)}; pass a whole number from 1 on")
    if value < 1:
        raise Error(f"{name}: is {value}; pass a whole number from 1 on")


def require_storage_options(value: Any) -> None:
    """Refuses what is no mapping of names."""
    if value is not None and not isinstance(value, Mapping):
        raise Error(f'storage_options: is {_kind(value)}; pass a mapping such as {{"anon": False}}')


def require_progress(value: Any) -> None:
    """Refuses what cannot be called."""
    if not callable(value):
        raise Error(f"progress: is {_kind(value)}; pass a function of a word and two numbers")


def require_client(value: Any) -> None:
    """Refuses what is no client of Dask that is open, nor an address.

    Raises
    ------
    Error
    """
    from distributed import Client

    if value is None or (isinstance(value, str) and value):
        return
    if not isinstance(value, Client):
        what = "an empty address" if value == "" else _kind(value)
        raise Error(f"client: is {what}; pass a distributed.Client, the address of a scheduler, or None")
    if value.asynchronous:
        raise Error("client: is asynchronous; pass a distributed.Client without asynchronous=True")
    if value.status != "running":
        raise Error(f"client: is {value.status}; pass a distributed.Client that is open")


def _values_of(name: str, value: Any) -> list[str]:
    if OPTIONS[name]:
        return texts_of(name, value, "a text or several texts")
    if name in _NUMBERS and (isinstance(value, bool) or not isinstance(value, (int, float, str))):
        raise Error(f"{name}: is {_kind(value)}; pass a number")
    if name not in _NUMBERS and not isinstance(value, str):
        raise Error(f"{name}: is {_kind(value)}; pass a text")
    return [str(value)]


def _require_known(name: str) -> None:
    if name in OPTIONS:
        return
    near = difflib.get_close_matches(name, OPTIONS, n=1)
    hint = f'did you mean "{near[0]}"?' if near else f"there are {', '.join(OPTIONS)}"
    raise Error(f'unknown option "{name}"; {hint}')


def arguments_of(keys: Sequence[str], readings: Sequence[str] | None, options: Mapping[str, Any]) -> list[str]:
    """The options of the command line.

    Raises
    ------
    Error
        For an option that ``qel batch`` does not have, or a value of the wrong type.
    """
    arguments: list[str] = ["--keys", ",".join(keys)] if keys else []
    if readings is not None:
        arguments += ["--readings", ",".join(readings) or "none"]
    for name, value in options.items():
        _require_known(name)
        option = "--" + name.replace("_", "-")
        if OPTIONS[name] is None:
            if not isinstance(value, bool):
                raise Error(f"{name}: is {_kind(value)}; pass True or False")
            arguments += [option] if value else []
        elif value is not None:
            values = _values_of(name, value)
            if name == "files_from" and "-" in values:
                raise Error("files_from: every shard reads the list, and only a file can be read again")
            arguments += [text for each in values for text in (option, each)]
    return arguments


def writable(address: str, make: Callable[[], Any]) -> Any:
    """What `make` gives.

    Raises
    ------
    Error
        If the system refuses to write there.
    """
    try:
        return make()
    except (FileExistsError, NotADirectoryError):
        raise Error(f"{address}: there is a file in the way; name another directory") from None
    except OSError as error:
        raise Error(f"{address}: cannot be written: {error.strerror or error}; name another directory") from None
