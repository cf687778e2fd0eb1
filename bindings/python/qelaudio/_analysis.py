"""The results of several keys of one stream."""

from __future__ import annotations

import html
from collections.abc import Iterator, Mapping
from typing import Any

from qelaudio import _core
from qelaudio._errors import Error
from qelaudio._features import Result, make_result
from qelaudio._keys import canonical, keys, shortened
from qelaudio._texts import counted


class Analysis(Mapping[str, Any]):
    """Results by key. Aliases are accepted: ``analysis["mfcc"]``.

    Attributes
    ----------
    sample_rate : float
        Of the analyzed audio, in Hz.
    channels : int
        Analyzed channels; 1 for a mono mix.
    samples : int
        Samples per channel of the stream until now.
    status : int
        0, or `STATUS_NO_TEMPO` or `STATUS_NO_METER` for a stream that has ended without one.
    missing : tuple of str
        Keys of the whole stream that have no result, since the stream ended.
    warnings : tuple of str
        What was wrong with a file or a stream and did not end the analysis: one line each.
    """

    def __init__(
        self,
        taken: Mapping[str, dict[str, Any]],
        *,
        sample_rate: float,
        channels: int,
        samples: int,
        status: int = 0,
        has_ended: bool = False,
        warnings: tuple[str, ...] = (),
    ) -> None:
        self.sample_rate = sample_rate
        self.channels = channels
        self.samples = samples
        self.status = status
        self.missing = tuple(
            name
            for name, parts in taken.items()
            if has_ended and keys()[name].delivery == "at end" and not parts["delivered"]
        )
        self._results: dict[str, Result] = {
            name: make_result(keys()[name], sample_rate, channels, parts)
            for name, parts in taken.items()
        }
        self.warnings = warnings + self._about_missing()

    def _about_missing(self) -> tuple[str, ...]:
        quoted = ", ".join(f'"{name}"' for name in self.missing)
        absent = [f"no values for {quoted}"] if quoted else []
        reason = [_core.status_text(self.status)] if self.status else []
        line = "; ".join(reason + absent)
        return (line,) if line else ()

    @property
    def seconds(self) -> float:
        """`samples` in seconds."""
        return self.samples / self.sample_rate

    def __getitem__(self, key: str) -> Any:
        """The `Feature`, `Events`, `Names` or `Partials` of a key.

        Raises
        ------
        KeyError
            For a key that is not in the results.
        """
        try:
            return self._results[canonical(key)]
        except Error as error:
            raise KeyError(str(error)) from None
        except KeyError:
            there = ", ".join(f'"{name}"' for name in self._results) or "nothing"
            raise KeyError(f'no results of "{key}"; there is {there}') from None

    def __iter__(self) -> Iterator[str]:
        return iter(self._results)

    def __len__(self) -> int:
        return len(self._results)

    def __repr__(self) -> str:
        channels = counted(self.channels, "channel")
        return f"<Analysis: {self.seconds:.3f} s, {channels}, {shortened(', '.join(self))}>"

    def _repr_html_(self) -> str:
        rows = "".join(
            f"<tr><td>{html.escape(name)}</td><td>{html.escape(result._size())}</td>"
            f"<td>{html.escape(', '.join(dict.fromkeys(result.units)))}</td></tr>"
            for name, result in self._results.items()
        )
        channels = counted(self.channels, "channel")
        caption = f"{self.seconds:.3f} s, {channels}, {self.sample_rate:g} Hz"
        head = "<tr><th>key</th><th>results</th><th>unit</th></tr>"
        return f"<table><caption>{caption}</caption>{head}{rows}</table>"
