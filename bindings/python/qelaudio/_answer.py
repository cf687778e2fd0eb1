"""What the classes of the musical answers share."""

from __future__ import annotations

import math
from dataclasses import fields
from typing import TYPE_CHECKING, Any, ClassVar

import numpy as np
from numpy.typing import NDArray

from qelaudio._features import as_array
from qelaudio._texts import counted

if TYPE_CHECKING:
    import pandas


class Answer:
    """What all answers have."""

    def to_dict(self) -> dict[str, Any]:
        """The answer as plain numbers, texts, lists and dicts, as the module json takes them.

        Returns
        -------
        dict
            By the names of the attributes. What is not finite is None.
        """
        return {row.name: _plain(getattr(self, row.name)) for row in fields(self)}  # type: ignore[arg-type]


class Listed(Answer):
    """A list: its text tells how long it is, and it is an array to NumPy."""

    #: The attributes with one entry each; the first one is the array.
    _columns: ClassVar[tuple[str, ...]]

    def __len__(self) -> int:
        return len(getattr(self, self._columns[0]))

    def __repr__(self) -> str:
        shown = [counted(len(self), "entry", "entries")]
        for row in fields(self):  # type: ignore[arg-type]
            if row.repr:
                shown.append(f"{row.name}={getattr(self, row.name)!r}")
        return f"{type(self).__name__}({', '.join(shown)})"

    def __array__(self, dtype: Any = None, copy: bool | None = None) -> NDArray[Any]:
        return as_array(getattr(self, self._columns[0]), dtype, copy)

    def to_pandas(self) -> pandas.DataFrame:
        """A table with one row for each entry.

        Returns
        -------
        pandas.DataFrame

        Raises
        ------
        ImportError
            If pandas is not installed.
        """
        import pandas

        return pandas.DataFrame({name: getattr(self, name) for name in self._columns})


def _plain(value: Any) -> Any:
    if isinstance(value, Answer):
        return value.to_dict()
    if isinstance(value, (list, tuple)):
        return [_plain(part) for part in value]
    if isinstance(value, np.ndarray):
        return _plain(value.tolist())
    return None if isinstance(value, float) and not math.isfinite(value) else value
