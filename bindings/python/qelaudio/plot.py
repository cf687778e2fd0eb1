"""Draws what the page of a song shows: ``python -m qelaudio.plot song.flac --output song.png``.

`qel plot` runs this.
"""

from __future__ import annotations

import argparse
import io
import os
import sys
import tempfile
from collections.abc import Sequence
from pathlib import Path

from qelaudio._errors import Error
from qelaudio._song_plot import LEAST_WIDTH, MOST_WIDTH, plot_song

FORMATS = ("png", "svg", "pdf")


def _words(text: str) -> list[str]:
    return [word.strip() for word in text.split(",") if word.strip()]


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser("qel plot", description="Draw what the page of a song shows")
    parser.add_argument("FILE", help="audio file")
    parser.add_argument("--output", required=True, metavar="PICTURE", help="a .png, .svg or .pdf")
    parser.add_argument(
        "--lanes", type=_words, metavar="LIST", help="the lanes, separated by commas"
    )
    parser.add_argument(
        "--marks", type=_words, metavar="LIST", help="the lines, separated by commas"
    )
    parser.add_argument("--begin", type=float, default=0, metavar="SECONDS", help="default: 0")
    parser.add_argument("--end", type=float, metavar="SECONDS", help="default: the end of the song")
    parser.add_argument("--width", type=float, default=12, metavar="INCHES", help="default: 12")
    parser.add_argument("--dpi", type=float, default=150, help="pixels per inch; default: 150")
    parser.add_argument("--dark", action="store_true", help="light colours on dark ground")
    parser.add_argument("--overwrite", action="store_true", help="replace an existing picture")
    return parser


def _checked(arguments: argparse.Namespace) -> str:
    """The format of the picture.

    Raises
    ------
    Error
        For an output that cannot be written.
    """
    output = Path(arguments.output)
    form = output.suffix[1:].lower()
    if form not in FORMATS:
        raise Error(f"{output}: the name must end with .png, .svg or .pdf")
    if output.exists():
        if Path(arguments.FILE).exists() and output.samefile(arguments.FILE):
            raise Error(f"{output} is the input")
        if not arguments.overwrite:
            raise Error(f"{output} exists already; --overwrite replaces it")
    for value, name, least, most in (
        (arguments.width, "width", LEAST_WIDTH, MOST_WIDTH),
        (arguments.dpi, "dpi", 20, 1200),
    ):
        if not least <= value <= most:
            raise Error(f"--{name} must be {least} to {most}, not {value:g}")
    return form


def _draw(arguments: argparse.Namespace) -> None:
    form = _checked(arguments)
    from matplotlib import rc_context
    from matplotlib.figure import Figure

    figure = plot_song(
        arguments.FILE,
        lanes=arguments.lanes,
        marks=arguments.marks,
        begin=arguments.begin,
        end=arguments.end,
        dark=arguments.dark,
        figure=Figure(figsize=(arguments.width, 1), layout="constrained"),
    )
    # The same file gives the same picture: without dates, and with fixed names in SVG.
    metadata = {"png": {"Software": None}, "svg": {"Date": None}, "pdf": {"CreationDate": None}}[
        form
    ]
    picture = io.BytesIO()
    with rc_context({"svg.hashsalt": "qel"}):
        figure.savefig(picture, format=form, dpi=arguments.dpi, metadata=metadata)
    _write(Path(arguments.output), picture.getbuffer())


def _write(output: Path, data: memoryview) -> None:
    """Writes a whole file or none. A link stays a link; a device is written to."""
    place = output.resolve()
    if place.exists() and not place.is_file():
        place.write_bytes(data)
        return
    place.parent.mkdir(parents=True, exist_ok=True)
    descriptor, name = tempfile.mkstemp(prefix=".qel-", suffix=place.suffix, dir=place.parent)
    try:
        with os.fdopen(descriptor, "wb") as file:
            file.write(data)
        mask = os.umask(0)
        os.umask(mask)
        Path(name).chmod(0o666 & ~mask)
        Path(name).replace(place)
    finally:
        Path(name).unlink(missing_ok=True)


def main(arguments: Sequence[str] | None = None) -> int:
    """Runs the command line; returns its exit status: 0, or 1 for what cannot be drawn."""
    try:
        _draw(_parser().parse_args(arguments))
    except ModuleNotFoundError as error:
        print(
            f'qel: no Python package "{error.name}": pip install "qelaudio[plot]"', file=sys.stderr
        )
        return 1
    except (Error, OSError) as error:
        print(f"qel: {error}".replace("\n", " "), file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        return 130
    return 0


if __name__ == "__main__":
    sys.exit(main())
