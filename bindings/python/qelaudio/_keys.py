"""The table of keys and the table of parameters, from the library's own declaration."""

from __future__ import annotations

import difflib
import functools
from collections.abc import Iterable, Iterator, Mapping
from dataclasses import dataclass
from typing import Any, cast

from qelaudio import _core
from qelaudio._errors import STATUS_UNKNOWN, Error

#: Letters of a name that a message repeats.
MOST_SHOWN = 60


@dataclass(frozen=True, repr=False)
class Value:
    """One value of a key.

    Attributes
    ----------
    name : str
        The name by which a `Feature` is indexed.
    unit : str
        ``"1"`` for a pure number.
    minimum, maximum : float
        The range, both ends included. An infinite end promises nothing.
    in_half_rates : bool
        True: the range is in multiples of half the sample rate.
    definition : str
        How the value is computed.
    source : str
        Literature; may be empty.
    """

    name: str
    unit: str
    minimum: float
    maximum: float
    in_half_rates: bool
    definition: str
    source: str

    def __repr__(self) -> str:
        scale = " half rates" if self.in_half_rates else ""
        return f"<Value {self.name!r} [{self.unit}]: {self.minimum:g} to {self.maximum:g}{scale}>"

    def range_at(self, sample_rate: float) -> tuple[float, float]:
        """The range in the value's unit.

        Parameters
        ----------
        sample_rate : float
            In Hz.

        Returns
        -------
        tuple of float
            Minimum and maximum.
        """
        scale = sample_rate / 2 if self.in_half_rates else 1.0
        return self.minimum * scale, self.maximum * scale


@dataclass(frozen=True, repr=False)
class Key:
    """One key: what it computes, when it is delivered, and its values.

    Attributes
    ----------
    name : str
        The name of the key.
    aliases : tuple of str
        Other names that are accepted for it.
    payload : str
        ``"values"``, ``"vector"``, ``"complex"``, ``"count"`` and ``"range"`` come as `Feature`,
        ``"events"`` as `Events`, ``"names"`` as `Names`, ``"partials"`` as `Partials`.
    delivery : str
        ``"per block"``, ``"per frame"``, ``"at end"`` or ``"frames at end"``.
    frame, hop : int
        Samples of a frame, and from one result to the next. 0: the key has no frames. For keys that
        are delivered at the end, those of the frames that the result is made from.
    size : int
        Numbers of one result and channel: the last axis of `Feature.values`. 0 for events, names
        and partials.
    values : tuple of Value
        One for each number, or one for all numbers of a vector.
    definition : str
        What the key is and how it is computed.
    """

    name: str
    aliases: tuple[str, ...]
    payload: str
    delivery: str
    frame: int
    hop: int
    push_multiple: int
    size: int
    values: tuple[Value, ...]
    definition: str

    @property
    def unit(self) -> str:
        """The unit of the first value; ``"1"`` for a pure number."""
        return self.values[0].unit

    @property
    def minimum(self) -> float:
        """The least number that any value can be. See `Value.in_half_rates`."""
        return min(value.minimum for value in self.values)

    @property
    def maximum(self) -> float:
        """The greatest number that any value can be. See `Value.in_half_rates`."""
        return max(value.maximum for value in self.values)

    @property
    def range(self) -> tuple[float, float]:
        """Minimum and maximum."""
        return self.minimum, self.maximum

    @property
    def source(self) -> str:
        """Literature of all values; may be empty."""
        return "; ".join(dict.fromkeys(value.source for value in self.values if value.source))

    def __str__(self) -> str:
        return self.name

    def __repr__(self) -> str:
        size = f"{self.size} numbers" if self.size else self.payload
        return f"<Key {self.name!r}: {size}, {self.delivery}>"

    def describe(self) -> str:
        """All that the table says about the key, as a text of several lines.

        Returns
        -------
        str
        """
        size = f"{self.size} numbers" if self.size else self.payload
        lines = [f"{self.name}: {size}, {self.delivery}"]
        if self.aliases:
            lines.append("also " + ", ".join(self.aliases))
        if self.frame:
            lines.append(f"frames of {self.frame} samples, a result every {self.hop}")
        lines += ["", self.definition]
        for value in self.values:
            scale = " half rates" if value.in_half_rates else ""
            ends = f"{value.minimum:g} to {value.maximum:g}{scale}"
            lines += ["", f"{value.name} [{value.unit}], {ends}", f"    {value.definition}"]
            lines += [f"    Source: {value.source}"] if value.source else []
        return "\n".join(lines)


@dataclass(frozen=True, repr=False)
class Parameter:
    """One parameter of the analysis.

    Attributes
    ----------
    name : str
        The library's name: ``"Genre Hint"``.
    attribute : str
        The name of the attribute of `Analyzer`: ``"genre_hint"``.
    unit : str
        ``"1"`` for a pure number.
    minimum, maximum : float
        The range, both ends included.
    default : float
        The value of a new analyzer.
    is_whole : bool
        True: whole numbers only.
    keys : tuple of str
        The keys that it acts on.
    definition : str
        What it does.
    """

    name: str
    unit: str
    minimum: float
    maximum: float
    default: float
    is_whole: bool
    keys: tuple[str, ...]
    definition: str

    @property
    def attribute(self) -> str:
        """The name of the attribute of `Analyzer`."""
        return self.name.lower().replace(" ", "_")

    def __repr__(self) -> str:
        unit = "" if self.unit == "1" else f" {self.unit}"
        ends = f"{self.minimum:g} to {self.maximum:g}{unit}"
        return f"<Parameter {self.name!r}: {ends}, {self.default:g} by default>"


class _KeyTable(Mapping[str, Key]):
    """Lists the names, and takes aliases, too."""

    def __init__(self, table: Iterable[Key]) -> None:
        self._keys = {key.name: key for key in table}
        self._names = {alias: key.name for key in self._keys.values() for alias in key.aliases}

    def __getitem__(self, name: str) -> Key:
        found = self._keys.get(self._names.get(name, name))
        if found is None:
            raise KeyError(_unknown(name))
        return found

    def __iter__(self) -> Iterator[str]:
        return iter(self._keys)

    def __len__(self) -> int:
        return len(self._keys)

    def __repr__(self) -> str:
        return f"<{len(self)} keys: {shortened(', '.join(self))}>"


class _ParameterTable(Mapping[str, Parameter]):
    """Lists the names, and takes those of attributes, too."""

    def __init__(self, table: Iterable[Parameter]) -> None:
        self._parameters = {parameter.name: parameter for parameter in table}
        self._names = {row.attribute: row.name for row in self._parameters.values()}

    def __getitem__(self, name: str) -> Parameter:
        found = self._parameters.get(self._names.get(name, name))
        if found is None:
            raise KeyError(_unknown_parameter(name, self))
        return found

    def __iter__(self) -> Iterator[str]:
        return iter(self._parameters)

    def __len__(self) -> int:
        return len(self._parameters)

    def __repr__(self) -> str:
        return f"<{len(self)} parameters: {', '.join(self)}>"


def _unknown_parameter(name: object, table: Iterable[str]) -> str:
    known = ", ".join(f'"{known}"' for known in table)
    return f'unknown parameter "{shortened(str(name))}"; there are {known}'


def _key(row: Mapping[str, Any]) -> Key:
    values = tuple(Value(**value) for value in row["values"])
    return Key(**{**row, "aliases": tuple(row["aliases"]), "values": values})


@functools.cache
def keys() -> Mapping[str, Key]:
    """All keys of the library.

    Returns
    -------
    Mapping of str to Key
        By name, in the order of the library's table. Aliases are found, too. `Key.describe` tells
        all about one.

    Examples
    --------
    >>> keys()["tempo"].unit
    'BPM'

    Notes
    -----
    In ``help(qelaudio.keys)`` a list of all keys follows.
    """
    return _KeyTable(_key(row) for row in _core.key_table())


@functools.cache
def parameters() -> Mapping[str, Parameter]:
    """All parameters of the library.

    Returns
    -------
    Mapping of str to Parameter
        By name, in the order of the library's table. The names of the attributes of `Analyzer` are
        found, too.

    Examples
    --------
    >>> parameters()["max_bpm"]
    <Parameter 'Max BPM': 1 to 1000 BPM, 280 by default>
    """
    rows = cast("list[dict[str, Any]]", _core.parameter_table())
    table = (Parameter(**{**row, "keys": tuple(row["keys"])}) for row in rows)
    return _ParameterTable(table)


@functools.cache
def _names() -> Mapping[str, str]:
    """The key of each name and alias."""
    names = {alias: key.name for key in keys().values() for alias in key.aliases}
    return names | {name: name for name in keys()}


@functools.cache
def _owners() -> Mapping[str, str]:
    """The key of each value that has a name of its own."""
    values = {value.name: key.name for key in keys().values() for value in key.values}
    return {name: key for name, key in values.items() if name not in _names()}


def shortened(text: str) -> str:
    """The beginning of a long text."""
    return text if len(text) <= MOST_SHOWN else f"{text[:MOST_SHOWN]}..."


def _hint(text: str) -> str:
    """What may have been meant by a name that is no key."""
    if text in _core.reading_names():
        return f'it is a reading: qelaudio.read(source, "{text}")'
    if text in _owners():
        return f'it is a value of the key "{_owners()[text]}": analysis["{_owners()[text]}"]["{text}"]'
    near = difflib.get_close_matches(text[:MOST_SHOWN].lower(), [*_names(), *_owners()], n=1)
    if not near:
        return "qelaudio.keys() lists the keys"
    owner = _owners().get(near[0])
    return f'did you mean "{near[0]}"' + (f', a value of the key "{owner}"?' if owner else "?")


def _unknown(name: object) -> str:
    """One line for what is no key. Of a long text, its beginning."""
    if not isinstance(name, str):
        return f"a key is a str, not {shortened(repr(name))}; qelaudio.keys() lists the keys"
    return f'unknown key "{shortened(name)}"; {_hint(name)}'


def canonical(name: str) -> str:
    """The name of a key, from the name or an alias.

    Raises
    ------
    Error
        With `STATUS_UNKNOWN` for any other text.
    """
    found = _names().get(name) if isinstance(name, str) else None
    if found is not None:
        return found
    raise Error(_unknown(name), STATUS_UNKNOWN)


def canonical_list(names: str | Iterable[str]) -> list[str]:
    """The names of keys, each once, in the given order. One name may stand by itself."""
    if not isinstance(names, Iterable):
        raise Error(
            f"keys must be a name or an iterable of names, not {shortened(repr(names))}; "
            "qelaudio.keys() lists them",
            STATUS_UNKNOWN,
        )
    chosen = [names] if isinstance(names, str) else list(names)
    if not chosen:
        raise Error("no keys; qelaudio.keys() lists them", STATUS_UNKNOWN)
    return list(dict.fromkeys(canonical(name) for name in chosen))


def parameter_named(name: str) -> Parameter:
    """The parameter of a name of the library or of an attribute.

    Raises
    ------
    Error
        With `STATUS_UNKNOWN` for any other text.
    """
    try:
        return parameters()[name]
    except KeyError:
        raise Error(_unknown_parameter(name, parameters()), STATUS_UNKNOWN) from None


def _line(key: Key) -> str:
    names = ", ".join((key.name, *key.aliases))
    size = f"{key.size} x {key.unit}" if key.size else key.payload
    return f"    - {names}: {size}, {key.delivery}"


keys.__doc__ = f"{keys.__doc__}\n" + "\n".join(_line(key) for key in keys().values()) + "\n"
