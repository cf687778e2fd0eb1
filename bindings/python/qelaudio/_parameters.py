"""Parameters of the analysis, with their ranges checked."""

from __future__ import annotations

import math
from collections.abc import Iterable, Mapping

from qelaudio._errors import STATUS_BAD_FORMAT, STATUS_UNKNOWN, Error
from qelaudio._keys import Parameter, parameter_named, parameters

#: The ends of the range of tempi.
RANGE = ("Min BPM", "Max BPM")


def checked_value(parameter: Parameter, value: float) -> float:
    """A number in the parameter's range.

    Raises
    ------
    Error
        With `STATUS_BAD_FORMAT` for any other value.
    """
    try:
        number = float(value)
    except (TypeError, ValueError, OverflowError):
        number = math.nan
    is_in_range = parameter.minimum <= number <= parameter.maximum
    if not is_in_range or (parameter.is_whole and number != int(number)):
        kind = "a whole number" if parameter.is_whole else "a number"
        unit = "" if parameter.unit == "1" else f" {parameter.unit}"
        raise Error(
            f'"{parameter.name}" must be {kind} from {parameter.minimum:g} to '
            f"{parameter.maximum:g}{unit}, not {value!r}",
            STATUS_BAD_FORMAT,
        )
    return number


def require_owner(parameter: Parameter, keys: Iterable[str]) -> None:
    """Refuses a parameter that none of the keys has.

    Raises
    ------
    Error
        With `STATUS_UNKNOWN`.
    """
    if set(parameter.keys).isdisjoint(keys):
        owners = ", ".join(f'"{key}"' for key in parameter.keys)
        raise Error(
            f'"{parameter.name}" is a parameter of {owners}, none of which is analyzed',
            STATUS_UNKNOWN,
        )


def parameters_of(keys: Iterable[str]) -> list[Parameter]:
    """The parameters that the keys have."""
    analyzed = set(keys)
    return [row for row in parameters().values() if not analyzed.isdisjoint(row.keys)]


def require_order(values: Mapping[str, float]) -> None:
    """Refuses a least tempo above the greatest one. `values`: by the library's names.

    Raises
    ------
    Error
        With `STATUS_BAD_FORMAT`.
    """
    least, most = (values.get(name, parameters()[name].default) for name in RANGE)
    if least > most:
        raise Error(
            f'"{RANGE[0]}" {least:g} is above "{RANGE[1]}" {most:g}; set both',
            STATUS_BAD_FORMAT,
        )


def checked_parameters(given: Mapping[str, float], keys: Iterable[str]) -> dict[str, float]:
    """Values by the library's names of the parameters."""
    analyzed = list(keys)
    checked: dict[str, float] = {}
    for name, value in given.items():
        parameter = parameter_named(name)
        require_owner(parameter, analyzed)
        if parameter.name in checked:
            raise Error(
                f'"{parameter.name}" has two values: it is also named "{parameter.attribute}"',
                STATUS_BAD_FORMAT,
            )
        checked[parameter.name] = checked_value(parameter, value)
    require_order(checked)
    return checked
