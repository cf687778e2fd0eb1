"""Words of messages and representations."""

from __future__ import annotations


def counted(count: int, singular: str, plural: str | None = None) -> str:
    """A number with its noun: "1 channel", "2 channels"."""
    return f"{count} {singular if count == 1 else plural or singular + 's'}"
