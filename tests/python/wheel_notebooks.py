"""Runs the notebooks with an installed wheel: script/wheel runs this in a fresh environment.

    wheel_notebooks.py FOLDER

FOLDER holds the notebooks and what they read, and receives their pictures.
"""

from __future__ import annotations

import sys
import time
from pathlib import Path

import notebooks

import qelaudio

PICTURES = {"key": 4, "stream": 2, "tempo": 3, "timbre": 2}

folder = Path(sys.argv[1])
assert Path(qelaudio.__file__).is_relative_to(sys.prefix), qelaudio.__file__
assert {path.stem for path in folder.glob("*.py")} == set(PICTURES)
for name, pictures in PICTURES.items():
    started = time.monotonic()
    shown = list(notebooks.run(folder / f"{name}.py", {}))
    drawn = [picture for cell in shown for picture in cell.pictures]
    assert len(drawn) == pictures, f"{name}: {len(drawn)} pictures"
    assert any(cell.printed for cell in shown), f"{name} prints nothing"
    for number, picture in enumerate(drawn):
        (folder / f"{name}-{number}.png").write_bytes(picture)
    print(f"wheel: {name}: {len(drawn)} pictures, {time.monotonic() - started:.1f} s")
