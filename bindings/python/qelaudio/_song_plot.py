"""The lanes of the page of a song, drawn by matplotlib."""

from __future__ import annotations

import colorsys
from collections.abc import Iterable
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any

import numpy as np

from qelaudio import _axes
from qelaudio._errors import STATUS_UNKNOWN, Error
from qelaudio._pages import PageData, lane_list, written
from qelaudio._sources import Source, bad

if TYPE_CHECKING:
    from matplotlib.figure import Figure

#: Heights in the list are pixels of a screen.
PIXELS_PER_INCH = 100
MARGIN_INCHES = 0.42
HEAD_INCHES = 0.75
#: Columns of a picture for each inch of the drawing: what a printer shows.
COLUMNS_PER_INCH = 200
#: Lines that would be closer together than this are left out.
LEAST_INCHES = 0.04
FULL_SCALE = 32767.0
LEAST_WIDTH, MOST_WIDTH = 3, 100
#: Why a lane can be empty.
REASONS = {
    "keys": "no key was found",
    "tempo": "no tempo was found",
    "loudness": "silence, or shorter than 0.4 s",
}

LIGHT = {
    "back": "#ffffff",
    "text": "#1b1f24",
    "quiet": "#57606a",
    "wave": "#9cc3e8",
    "level": "#2a6fb0",
    "curves": ("#0b5cad", "#b0480c"),
    "beats": (190 / 255, 40 / 255, 90 / 255, 0.55),
    "downBeats": (190 / 255, 20 / 255, 60 / 255, 0.95),
    "onsets": (20 / 255, 130 / 255, 60 / 255, 0.6),
    "strip": 0.82,
}
DARK = {
    "back": "#14171c",
    "text": "#e8ebef",
    "quiet": "#a5afba",
    "wave": "#2f5f8d",
    "level": "#7db8ee",
    "curves": ("#77b5ff", "#f0a060"),
    "beats": (1, 120 / 255, 160 / 255, 0.6),
    "downBeats": (1, 130 / 255, 160 / 255, 1),
    "onsets": (110 / 255, 220 / 255, 140 / 255, 0.65),
    "strip": 0.3,
}


@dataclass(frozen=True)
class Drawing:
    """What all lanes get."""

    page: PageData
    begin: float
    end: float
    inches: float
    colours: dict[str, Any]

    @property
    def columns(self) -> int:
        return max(round(self.inches * COLUMNS_PER_INCH), 1)

    @property
    def colour_map(self) -> Any:
        from matplotlib.colors import ListedColormap

        return ListedColormap(self.page.description["colours"])


def _draw_waveform(axis: Any, _lane: dict[str, Any], drawing: Drawing) -> None:
    step = drawing.page.description["waveform"]["stepSeconds"]
    first, last = int(drawing.begin / step), int(drawing.end / step) + 1
    least, greatest, level = (
        drawing.page.array(f"waveform:{name}", "<i2")[first:last] / FULL_SCALE
        for name in ("least", "greatest", "rms")
    )
    count = max(-(-len(least) // drawing.columns), 1)
    starts = np.arange(0, len(least), count)
    if len(starts):
        times = (first + starts + 0.5 * count) * step
        # Of several steps the extremes, and their mean power.
        sizes = np.diff(np.append(starts, len(level)))
        level = np.sqrt(np.add.reduceat(level**2, starts) / sizes)
        bottom, top = np.minimum.reduceat(least, starts), np.maximum.reduceat(greatest, starts)
        axis.fill_between(times, bottom, top, color=drawing.colours["wave"], linewidth=0.3)
        axis.fill_between(times, -level, level, color=drawing.colours["level"], linewidth=0)
    axis.set_ylim(-1.02, 1.02)
    axis.set_yticks([-1, -0.5, 0, 0.5, 1])


def _draw_picture(axis: Any, lane: dict[str, Any], drawing: Drawing) -> None:
    info = drawing.page.description["pictures"][lane["id"]]
    image = drawing.page.image(lane["id"], drawing.begin, drawing.end, drawing.columns)
    top = len(drawing.page.description["colours"]) - 1
    axis.set_facecolor(drawing.page.description["colours"][0])
    shown = axis.imshow(
        image.values,
        aspect="auto",
        origin="lower",
        extent=(image.begin, image.end, 0, info["rows"]),
        cmap=drawing.colour_map,
        vmin=0,
        vmax=top,
        interpolation="nearest",
    )
    ticks = _axes.row_ticks(lane, drawing.page.song["sampleRateHz"])
    axis.set_yticks([row for row, _ in ticks], [label for _, label in ticks])
    axis.set_ylim(0, info["rows"])
    scale = axis.inset_axes([1.008, 0, 0.008, 1])
    bar = axis.figure.colorbar(shown, cax=scale, ticks=[0, top])
    is_level = "spanDecibels" in lane
    ends = (info["lowest"], info["highest"]) if is_level else (0, 100)
    bar.ax.set_yticklabels(
        [f"{end:.0f}{'' if is_level else ' %'}".replace("-", "−") for end in ends]
    )
    bar.ax.tick_params(colors=drawing.colours["text"], labelsize=8)


def _overlay(axis: Any, lane: dict[str, Any], drawing: Drawing) -> None:
    """Its lowest index is clear."""
    info = drawing.page.description["pictures"][lane["id"]]
    image = drawing.page.image(lane["id"], drawing.begin, drawing.end, drawing.columns)
    axis.images[0].set_alpha(0.35)
    axis.imshow(
        np.ma.masked_equal(image.values, 0),
        aspect="auto",
        origin="lower",
        extent=(image.begin, image.end, 0, info["rows"]),
        cmap=drawing.colour_map,
        vmin=0,
        vmax=len(drawing.page.description["colours"]) - 1,
        interpolation="nearest",
    )


def _tell(axis: Any, text: str, drawing: Drawing) -> None:
    """A reason in the middle of an empty lane."""
    axis.text(
        0.5, 0.5, text, transform=axis.transAxes, ha="center", va="center", fontsize=9,
        color=drawing.colours["quiet"],
    )  # fmt: skip


def _draw_strip(axis: Any, lane: dict[str, Any], drawing: Drawing) -> None:
    per_second = drawing.inches / (drawing.end - drawing.begin)
    segments = drawing.page.song["readings"]["key"]["segments"]
    if not segments:
        _tell(axis, REASONS.get(lane["id"], "no values"), drawing)
    for segment in segments:
        begin = max(segment["begin"], drawing.begin)
        end = min(segment["end"], drawing.end)
        if end <= begin:
            continue
        name = segment["name"]
        saturation = 0.35 if name.endswith("minor") else 0.6
        lightness = drawing.colours["strip"]
        colour = colorsys.hls_to_rgb(_axes.key_hue(name), lightness, saturation)
        axis.axvspan(begin, end, facecolor=colour, edgecolor=drawing.colours["back"])
        text = _axes.key_text(name)
        short = text.replace(" major", "").replace(" minor", "m")
        # A letter takes about 0.085 inches at 10 points.
        fits = [t for t in (text, short) if (0.085 * len(t) + 0.1) < (end - begin) * per_second]
        if fits:
            axis.annotate(
                fits[0],
                (begin, 0.5),
                (4, 0),
                textcoords="offset points",
                va="center",
                color=drawing.colours["text"],
            )
    axis.set_ylim(0, 1)
    axis.set_yticks([])


def _draw_curves(axis: Any, lane: dict[str, Any], drawing: Drawing) -> None:
    lists = []
    for curve, colour in zip(lane["curves"], drawing.colours["curves"], strict=False):
        name = f"{lane['id']}:{curve['id']}"
        info = drawing.page.description["curves"].get(name, {})
        values = _axes.usable(drawing.page.array(f"curve:{name}", "<f4"))
        hop = info.get("hopSeconds")
        times = (
            drawing.page.array(info["at"], "<f8")
            if "at" in info
            else (1 + np.arange(len(values))) * hop
        )
        axis.plot(times, values, color=colour, linewidth=1.2, label=curve["label"])
        lists.append(values)
    limits = _axes.value_range(lists, lane.get("lowest", -np.inf))
    if limits:
        axis.set_ylim(*limits)
    else:
        axis.set_yticks([])
        _tell(axis, REASONS.get(lane["id"], "no values"), drawing)
    if len(lists) > 1 and limits:
        # Above the lane, where it covers no curve.
        axis.legend(
            loc="lower right",
            bbox_to_anchor=(1, 1),
            ncols=len(lists),
            fontsize=8,
            frameon=False,
            borderpad=0,
            labelcolor=drawing.colours["text"],
        )


DRAWERS = {
    "waveform": _draw_waveform,
    "picture": _draw_picture,
    "strip": _draw_strip,
    "curves": _draw_curves,
}


def _draw_marks(axis: Any, marks: list[dict[str, Any]], drawing: Drawing) -> None:
    # The heaviest come last, over the others.
    order = ["onsets", "beats", "downBeats"]
    for mark in sorted(marks, key=lambda mark: order.index(mark["id"])):
        times = drawing.page.array(f"marks:{mark['id']}", "<f8")
        times = times[(times >= drawing.begin) & (times <= drawing.end)]
        if len(times) * LEAST_INCHES <= drawing.inches:
            width = 1.4 if mark["id"] == "downBeats" else 0.7
            lines = axis.vlines(
                times,
                0,
                1,
                transform=axis.get_xaxis_transform(),
                linewidth=width,
                colors=[drawing.colours[mark["id"]]],
                zorder=3,
            )
            lines.set_gid(f"marks:{mark['id']}")


def _chance(strength: float) -> str:
    return f"{min(round(strength * 100), 99)} %"


def _card(song: dict[str, Any]) -> str:
    """The readings in a line, with how likely they are right."""
    readings = song["readings"]
    tempo, key, bars = readings["tempo"], readings["key"], readings["bars"]
    parts = []
    if tempo["bpm"] is None:
        parts.append("no beat")
    else:
        about = f"{tempo['bpm']:.2f}" if tempo["isSteady"] else f"about {tempo['bpm']:.0f}"
        parts.append(f"{about} BPM ({_chance(tempo['strength'])})")
    parts.append(
        "no key"
        if key["main"] is None
        else f"{_axes.key_text(key['main'])} ({_chance(key['strength'])})"
    )
    if bars["beatsPerBar"] is not None:
        parts.append(f"{bars['beatsPerBar']:g} beats per bar ({_chance(bars['strength'])})")
    if readings["loudness"]["integratedLufs"] is not None:
        parts.append(f"{readings['loudness']['integratedLufs']:.1f} LUFS".replace("-", "−"))
    parts.append(_axes.time_text(song["seconds"], 1))
    channels = {1: "mono", 2: "stereo"}.get(song["channels"], f"{song['channels']} channels")
    parts.append(f"{song['codec']}, {song['sampleRateHz'] / 1000:g} kHz, {channels}")
    return "  ·  ".join(parts)


def _plain(text: str) -> str:
    """Text that matplotlib does not read as mathematics, in one line."""
    return "".join(c if c.isprintable() else " " for c in text).replace("$", r"\$")


def _chosen(
    entries: list[dict[str, Any]], ids: str | Iterable[str] | None, what: str, default: str
) -> list[dict[str, Any]]:
    """The entries of the list that were asked for, in the order of the list."""
    if ids is None:
        return [entry for entry in entries if entry[default]]
    asked = [ids] if isinstance(ids, str) else list(ids)
    known = [entry["id"] for entry in entries]
    for name in asked:
        if name not in known:
            raise Error(f'no {what} "{name}"; there are {", ".join(known)}', STATUS_UNKNOWN)
    return [entry for entry in entries if entry["id"] in asked]


def draw(
    page: PageData,
    figure: Figure,
    lanes: list[dict[str, Any]],
    marks: list[dict[str, Any]],
    stretch: tuple[float, float],
    colours: dict[str, Any],
) -> None:
    """Draws lanes one beneath the other into an empty figure."""
    overlays = {lane["over"]: lane for lane in lanes if lane["kind"] == "overlay"}
    drawn = [lane for lane in lanes if lane["kind"] != "overlay"]
    heights = [lane["height"] / PIXELS_PER_INCH for lane in drawn]
    width = figure.get_figwidth()
    figure.set_figheight(HEAD_INCHES + sum(heights) + MARGIN_INCHES * len(drawn))
    figure.set_facecolor(colours["back"])
    axes = figure.subplots(len(drawn), 1, sharex=True, squeeze=False, height_ratios=heights)[:, 0]
    drawing = Drawing(page, *stretch, 0.88 * width, colours)
    for axis, lane in zip(axes, drawn, strict=True):
        axis.set_facecolor(colours["back"])
        axis.tick_params(colors=colours["text"], labelsize=8)
        for edge in axis.spines.values():
            edge.set_color(colours["quiet"])
        DRAWERS[lane["kind"]](axis, lane, drawing)
        if lane["id"] in overlays:
            _overlay(axis, overlays[lane["id"]], drawing)
        _draw_marks(axis, marks, drawing)
        unit = f" ({lane['unit']})" if lane["unit"] else ""
        axis.set_title(
            f"{lane['label']}{unit}", loc="left", fontsize=9, color=colours["text"], pad=3
        )
    axes[-1].set_xlim(*stretch)
    axes[-1].xaxis.set_major_formatter(
        lambda seconds, _: _axes.time_text(seconds, 0 if stretch[1] - stretch[0] > 12 else 2)
    )
    song = page.song
    title = (
        f"{song['artist']}: {song['title']}"
        if song["artist"] and song["title"]
        else song["title"] or song["name"]
    )
    title = _plain(title)
    figure.suptitle(
        (title if len(title) < 110 else title[:107] + "...") + "\n",
        x=0.01,
        ha="left",
        fontsize=13,
        color=colours["text"],
        weight="bold",
    )
    figure.text(
        0.01,
        1 - 0.42 / figure.get_figheight(),
        _card(song),
        fontsize=9,
        color=colours["quiet"],
        va="center",
    )


def plot_song(
    source: Source,
    *,
    sample_rate: float | None = None,
    lanes: str | Iterable[str] | None = None,
    marks: str | Iterable[str] | None = None,
    begin: float = 0,
    end: float | None = None,
    name: str = "samples",
    dark: bool = False,
    width: float = 12,
    figure: Figure | None = None,
) -> Figure:
    """Draws what the page of a song shows, by matplotlib.

    Parameters
    ----------
    source : path, array or iterable of arrays
        As of `analyze`.
    sample_rate : float, optional
        In Hz; required for arrays.
    lanes : str or iterable of str, optional
        The lanes, by the names of the list that the page uses: ``"waveform"``, ``"spectrogram"``,
        ``"reassigned"`` (over the spectrogram), ``"constantq"``, ``"chroma"``, ``"keys"``,
        ``"tempo"``, ``"loudness"``. Default: all but ``"reassigned"``.
    marks : str or iterable of str, optional
        The lines: ``"beats"``, ``"downBeats"``, ``"onsets"``. Default: the first two. Lines less
        than 1 mm apart are left out.
    begin, end : float, optional
        The stretch in seconds. Default: the whole song.
    name : str
        The title for a source that is no file.
    dark : bool
        Light colours on dark ground.
    width : float
        In inches, 3 to 100. The height follows from the lanes.
    figure : matplotlib.figure.Figure, optional
        An empty figure to draw into. Default: a new one of pyplot.

    Returns
    -------
    matplotlib.figure.Figure
        ``figure.savefig("song.png")`` writes it.

    Raises
    ------
    Error
        For a lane, mark or stretch that does not exist, or another width; `FileError` for files.
    """
    if not LEAST_WIDTH <= width <= MOST_WIDTH:
        raise bad(f"width must be {LEAST_WIDTH} to {MOST_WIDTH} inches, not {width:g}")
    known = lane_list()
    chosen = _chosen(known["lanes"], lanes, "lane", "open")
    lines = _chosen(known["marks"], marks, "kind of line", "shown")
    grounds = {lane.get("over") for lane in chosen}  # an overlay brings what it lies over
    chosen = [lane for lane in known["lanes"] if lane in chosen or lane["id"] in grounds]
    if not chosen:
        raise bad("lanes is empty")
    page = PageData(written(source, sample_rate, name, None, audio=False))
    seconds = page.song["seconds"]
    last = seconds if end is None else min(end, seconds)
    if not 0 <= begin < last:
        raise bad(f"no stretch from {begin:g} s to {last:g} s in a song of {seconds:.3f} s")
    if figure is None:
        from matplotlib import pyplot

        figure = pyplot.figure(figsize=(width, 1), layout="constrained")
    draw(page, figure, chosen, lines, (begin, last), DARK if dark else LIGHT)
    return figure
