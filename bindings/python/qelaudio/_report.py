"""The page of a song, in notebooks and in files."""

from __future__ import annotations

import html
import os
from pathlib import Path

from qelaudio._errors import Error
from qelaudio._pages import PageData, written
from qelaudio._sources import Source

#: The template is in the package; in a build it is where the tool has it.
TEMPLATES = ("report.html", "../../share/qel/report.html")

NO_TEMPLATE = (
    "this build of qelaudio has no template of the page: run script/bootstrap, which installs Node "
    "and its packages, before pip install; or pass template=, the path of the report.html of qel"
)


def _template(path: str | os.PathLike[str] | None) -> Path:
    if path is not None:
        if not Path(path).is_file():
            raise Error(f"{os.fspath(path)}: no template of the page")
        return Path(path)
    places = [Path(__file__).parent / place for place in TEMPLATES]
    # In a build the package's files are links into the sources, but its folder is none.
    import qelaudio

    places += [Path(folder) / place for folder in qelaudio.__path__ for place in TEMPLATES]
    for place in places:
        if place.is_file():
            return place
    raise Error(NO_TEMPLATE)


class Report:
    """The page of a song. As the last value of a notebook's cell it shows itself.

    Attributes
    ----------
    html : str
        The page: one file, which loads nothing.
    height : int
        Of its frame in a notebook, in pixels.
    """

    def __init__(self, page: bytes, height: int) -> None:
        self.html = page.decode()
        self.height = height
        song = PageData(page).song
        self._about = f"{song['name']}, {song['seconds']:.1f} s"

    def save(self, path: str | os.PathLike[str], *, overwrite: bool = False) -> Path:
        """Writes the page.

        Raises
        ------
        FileExistsError
            If there is something at the path and `overwrite` is false.
        """
        file = Path(path)
        with file.open("w" if overwrite else "x", encoding="utf-8", newline="") as stream:
            stream.write(self.html)
        return file

    def _repr_html_(self) -> str:
        # A frame of its own keeps the page's style and script apart from the notebook's.
        page = html.escape(self.html, quote=True)
        return (
            f'<iframe srcdoc="{page}" title="{html.escape(self._about)}" width="100%" '
            f'height="{self.height}" style="border: 0"></iframe>'
        )

    def __repr__(self) -> str:
        return f"Report({self._about!r}, {len(self.html) / 1e6:.1f} MB)"


def report(
    source: Source,
    *,
    sample_rate: float | None = None,
    audio: bool = True,
    name: str = "samples",
    template: str | os.PathLike[str] | None = None,
    height: int = 900,
) -> Report:
    """The page of a song, as `qel report` writes it.

    Parameters
    ----------
    source : path, array or iterable of arrays
        As of `analyze`.
    sample_rate : float, optional
        In Hz; required for arrays, a whole number.
    audio : bool
        With its sound. A notebook keeps it: about 1 MB per minute.
    name : str
        The heading for a source that is no file.
    template : path, optional
        The template to fill. Default: the one that was built with the package.
    height : int
        Of the frame in a notebook, in pixels.

    Returns
    -------
    Report
        It shows itself in a notebook, and ``.save("song.html")`` writes it.

    Raises
    ------
    Error
        If there is no template; `FileError` for files.
    """
    return Report(written(source, sample_rate, name, _template(template), audio=audio), height)
