"""Where made things are kept: outside of the project."""

import os
from pathlib import Path


def cache():
    """QEL_TRUTH_CACHE, or .cache/qel-truth in the home directory."""
    return Path(os.environ.get("QEL_TRUTH_CACHE") or Path.home() / ".cache" / "qel-truth")


def write_whole(path, text):
    """Under its name only when complete, so that a run that was stopped leaves no half of a file."""
    path.parent.mkdir(parents=True, exist_ok=True)
    partial = path.with_name(path.name + ".partial")
    partial.write_text(text)
    partial.replace(path)
