"""The page of a song as data: what `qel report` writes, read without a browser."""

from __future__ import annotations

import base64
import io
import json
import os
import re
import struct
import tempfile
from dataclasses import dataclass
from pathlib import Path
from typing import Any

import numpy as np
from numpy.typing import NDArray

from qelaudio._errors import Error, FileError
from qelaudio._sources import Source, bad, open_stream

#: Samples of a block that arrays come in.
BLOCK = 65536
LOWEST_RATE = 8000

NO_PAGES = (
    "this build of qelaudio cannot show songs: build it where the development files of FFmpeg, "
    "{fmt}, nlohmann_json and zlib are"
)

_ELEMENT = re.compile(rb'<script type="[^"]*" id="qel:([^"]*)">([^<]*)</script>')


def module() -> Any:
    """The module that makes pages.

    Raises
    ------
    Error
        If this build has none.
    """
    try:
        from qelaudio import _page
    except ImportError as error:
        reason = f"{NO_PAGES} ({error})" if "lib" in str(error) else NO_PAGES
        raise Error(reason) from None
    return _page


def lane_list() -> dict[str, Any]:
    """The list of lanes and marks, which page and drawing share."""
    parsed: dict[str, Any] = json.loads(module().lanes())
    return parsed


def _write_samples(path: Path, source: Source, sample_rate: float | None) -> None:
    """A WAV of 32-bit floating point."""
    stream = open_stream(source, sample_rate, mix=False, block=BLOCK)
    rate = round(stream.sample_rate)
    if rate != stream.sample_rate or rate < LOWEST_RATE:
        raise bad(f"sample_rate must be a whole number of 8000 or more, not {stream.sample_rate:g}")
    samples = np.concatenate([np.asarray(chunk).T for chunk in stream.chunks()])
    if len(samples) == 0:
        raise bad("the audio has no samples")
    data = np.ascontiguousarray(samples, "<f4").tobytes()
    if len(data) > 0xFFFFFF00:
        raise bad("samples above 4 GiB; write a file and pass its path")
    frame = 4 * stream.channels
    form = struct.pack("<HHIIHH", 3, stream.channels, rate, rate * frame, frame, 32)
    chunks = b"fmt " + struct.pack("<I", len(form)) + form
    chunks += b"data" + struct.pack("<I", len(data)) + data
    path.write_bytes(b"RIFF" + struct.pack("<I", 4 + len(chunks)) + b"WAVE" + chunks)


def written(
    source: Source, sample_rate: float | None, name: str, template: Path | None, *, audio: bool
) -> bytes:
    """The page of a source; without a template, its data alone."""
    if isinstance(source, (str, os.PathLike)):
        path = os.fsencode(source)
        if b"\0" in path:
            raise FileError(source, "no file has a zero byte in its name", "unreadable")
        if sample_rate is not None:
            open_stream(source, sample_rate, mix=False, block=BLOCK)  # refuses another one
        return _write(path, template, audio)
    with tempfile.TemporaryDirectory() as folder:
        file = Path(folder) / (re.sub(r"[/\0]", "_", name) or "samples")
        _write_samples(file, source, sample_rate)
        return _write(os.fsencode(file), template, audio)


def _write(path: bytes, template: Path | None, audio: bool) -> bytes:
    try:
        page: bytes = module().write(path, None if template is None else os.fspath(template), audio)
    except RuntimeError as error:  # a file that is no template
        raise Error(str(error)) from None
    return page


@dataclass(frozen=True)
class Image:
    """A stretch of a picture: indices of colours, the lowest row first."""

    begin: float
    end: float
    values: NDArray[np.uint8]


class PageData:
    """The blocks of a page by their names."""

    def __init__(self, page: bytes) -> None:
        self._blocks = {found[1].decode(): found[2] for found in _ELEMENT.finditer(page)}
        self.description: dict[str, Any] = json.loads(self._blocks["page"])

    @property
    def song(self) -> dict[str, Any]:
        """File, format and readings."""
        song: dict[str, Any] = self.description["song"]
        return song

    def array(self, name: str, kind: str) -> NDArray[Any]:
        """The numbers of a block; none if it is not there."""
        return np.frombuffer(base64.b64decode(self._blocks.get(name, b"")), kind)

    def image(self, name: str, begin: float, end: float, columns: int) -> Image:
        """A stretch of a picture in at most about `columns` columns, with the greatest values."""
        from PIL import Image as Pillow

        info = self.description["pictures"][name]
        # The coarsest level that has enough columns: of 4 columns it has the greatest values too.
        fits = [
            number
            for number, level in enumerate(info["levels"])
            if (end - begin) / level["columnSeconds"] >= columns
        ]
        number = max(fits, default=0)
        level = info["levels"][number]
        seconds, origin = level["columnSeconds"], info["firstSeconds"]
        first = int(np.clip((begin - origin) // seconds, 0, level["columns"] - 1))
        last = int(np.clip((end - origin) // seconds + 1, first + 1, level["columns"]))
        if level["columns"] == 0:  # shorter than a frame
            return Image(begin, end, np.zeros((info["rows"], 1), np.uint8))
        width = info["tileColumns"]
        tiles = []
        for tile in range(first // width, (last - 1) // width + 1):
            png = base64.b64decode(self._blocks[f"picture:{name}:{number}:{tile}"])
            tiles.append(np.asarray(Pillow.open(io.BytesIO(png)))[::-1])
        skipped = first - first // width * width
        values = np.concatenate(tiles, axis=1)[:, skipped : skipped + last - first]
        joined = -(-values.shape[1] // columns)
        values = _greatest(values, joined)
        reach = first + joined * values.shape[1]
        return Image(origin + first * seconds, origin + reach * seconds, values)


def _greatest(values: NDArray[np.uint8], count: int) -> NDArray[np.uint8]:
    """The greatest of each `count` columns."""
    padded = np.pad(values, ((0, 0), (0, -values.shape[1] % count)))
    joined: NDArray[np.uint8] = padded.reshape(len(values), -1, count).max(axis=2)
    return joined
