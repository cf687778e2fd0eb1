"""Tables of measures by system, as Markdown."""

import re

from bench.truth.intervals import mean_interval, median_interval

# (measure, kind of recording, heading, unit, decimals)
HEADLINE = (
    ("tempo exact", "score", "Tempo within 4 %", "%", 0),
    ("tempo octave", "score", "Tempo within 4 %, or of its double, triple, half, third", "%", 0),
    ("beat F", "score", "Beats, F at 70 ms", "%", 0),
    ("CMLt", "score", "Beats, CMLt", "%", 0),
    ("AMLt", "score", "Beats, AMLt", "%", 0),
    ("beat offset ms", "score", "Beats, median offset", "ms", 1),
    ("down beat F", "score", "Down beats, F at 70 ms", "%", 0),
    ("beats per bar", "score", "Beats per bar right", "%", 0),
    ("key", "score", "Key, weighted score", "%", 0),
    ("key exact", "score", "Key right", "%", 0),
    ("onset F", "score", "Onsets in music, F at 50 ms", "%", 0),
    ("onset offset ms", "score", "Onsets in music, median offset", "ms", 1),
    ("onset F", "notes", "Onsets of single notes, F at 50 ms", "%", 0),
    ("onset offset ms", "notes", "Onsets of single notes, median offset", "ms", 1),
    ("onset F", "line", "Onsets of a line, F at 50 ms", "%", 0),
    ("pitch", "line", "Pitch within 50 cents, of voiced frames", "%", 0),
    ("pitch class", "line", "Pitch within 50 cents, octaves aside", "%", 0),
    ("voicing recall", "line", "Voiced frames taken for voiced", "%", 0),
    ("voicing false alarm", "line", "Silent frames taken for voiced", "%", 0),
    ("no tempo said", "negative", "No tempo said where there is none", "%", 0),
)
BY_CONDITION = ("tempo exact", "tempo octave", "beat F", "CMLt", "AMLt", "down beat F", "key", "onset F")
CLEAN = ("base", "other font")
TEMPO_STEPS = (50, 80, 120, 160, 210)


def tempo_range(record):
    bpm = record["settings"]["bpm"]
    for low, high in zip(TEMPO_STEPS, TEMPO_STEPS[1:]):
        if bpm <= high:
            return f"{low} to {high} BPM"
    return "more"


def recording(record):
    """Noise and coding in words."""
    if record["variant"] == "noise":
        return f"noise at {record['detail']} dB"
    return {"codec": f"coded, {record['detail']} kbit/s", "base": "as played",
            "other font": "other font and reverberation"}[record["variant"]]


CONDITIONS = (
    ("Drums", True, lambda record: "with drums" if record["settings"]["drums"] else "without drums"),
    ("Meter", True, lambda record: record["settings"]["meter"]),
    ("Tempo", True, tempo_range),
    ("Feel", True, lambda record: record["settings"]["feel"]),
    ("Mode", True, lambda record: record["settings"]["mode"]),
    ("Reverberation", True, lambda record: "with reverberation" if record["reverb"] else "dry"),
    ("Recording", False, recording),
)


def in_order(text):
    """Sorts numbers in a text by their value."""
    return [int(part) if part.isdigit() else part for part in re.split(r"(\d+)", text)]


def is_offset(measure):
    return measure.endswith("ms")


def shown(interval, unit, decimals, with_interval=True):
    if interval is None:
        return "–"
    scale = 100.0 if unit == "%" else 1.0
    value, low, high = (f"{scale * part:.{decimals}f}" for part in interval[:3])
    return f"{value} ({low} to {high})" if with_interval else value


def values_of(rows, measure, chosen):
    """(piece, value) of the rows whose record is chosen and that have the measure."""
    return [(row["record"]["piece"], row["measures"][measure]) for row in rows
            if measure in row["measures"] and chosen(row["record"])]


def interval_of(rows, measure, chosen):
    interval = median_interval if is_offset(measure) else mean_interval
    return interval(values_of(rows, measure, chosen))


def markdown(header, rows):
    lines = ["| " + " | ".join(header) + " |", "|---" * len(header) + "|"]
    return "\n".join(lines + ["| " + " | ".join(row) + " |" for row in rows]) + "\n"


def is_clean(record, kind):
    return record["kind"] == kind and record["variant"] in CLEAN


def cpu_per_minute(rows, kind):
    rows = [row for row in rows if row["record"]["kind"] == kind and row["cpu_seconds"] is not None]
    minutes = sum(row["record"]["seconds"] for row in rows) / 60.0
    return f"{sum(row['cpu_seconds'] for row in rows) / minutes:.2f}" if minutes else "–"


def headline(systems, measures=None):
    """systems: {name: rows}; a row has the record of a recording, its measures and the CPU seconds."""
    lines = []
    for measure, kind, heading, unit, decimals in HEADLINE:
        if measures and measure not in measures:
            continue
        cells = [shown(interval_of(rows, measure, lambda record: is_clean(record, kind)), unit, decimals)
                 for rows in systems.values()]
        if any(cell != "–" for cell in cells):
            lines.append([heading, unit, *cells])
    for kind, heading in (("score", "CPU per minute of music"), ("line", "CPU per minute of a line")):
        lines.append([heading, "s", *(cpu_per_minute(rows, kind) for rows in systems.values())])
    faults = [str(sum(row["fault"] is not None for row in rows)) for rows in systems.values()]
    lines.append(["Recordings that the system failed on", "", *faults])
    return markdown(["Measure", "unit", *systems], lines)


def conditions_table(systems, measure):
    """One measure of the scores by system and condition."""
    lines = []
    for title, only_clean, condition in CONDITIONS:
        records = [row["record"] for rows in systems.values() for row in rows if row["record"]["kind"] == "score"]
        records = [record for record in records if not only_clean or record["variant"] in CLEAN]
        for value in sorted({condition(record) for record in records}, key=in_order):
            def chosen(record):
                return record["kind"] == "score" and (not only_clean or record["variant"] in CLEAN) \
                    and condition(record) == value
            intervals = [interval_of(rows, measure, chosen) for rows in systems.values()]
            count = max((interval[3] for interval in intervals if interval), default=0)
            lines.append([title, value, str(count), *(shown(interval, "%", 0) for interval in intervals)])
    return markdown(["", "", "recordings", *systems], lines)


def report(systems, about, half, measures=None):
    """All tables of a run."""
    pieces = len({row["record"]["piece"] for rows in systems.values() for row in rows})
    recordings = max((len(rows) for rows in systems.values()), default=0)
    text = [f"## Half “{half}”: {pieces} pieces, {recordings} recordings", "",
            "Means (medians of offsets) with 95 % intervals. Recordings without noise or coding.", ""]
    text += [f"- {name}: {each}" for name, each in about.items()]
    text += ["", headline(systems, measures)]
    for measure in BY_CONDITION:
        if measures and measure not in measures:
            continue
        having = {name: rows for name, rows in systems.items() if values_of(rows, measure, lambda record: True)}
        if having:
            text += [f"### {measure} by condition, %", "", conditions_table(having, measure)]
    return "\n".join(text)
