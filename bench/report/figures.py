"""Figures: what is quoted, stored and compared, by name.

    cost/NAME             CPU seconds per minute of audio; NAME is a bench of qel_bench
    ratio/NAME            cost by the sum of its floors
    against/NAME by PEER  cost of ours by the cost of the peer
    initialize/KEY        CPU seconds of the first QelAudioAnalysisInitialize of a process
    reset/KEY             CPU seconds of QelAudioAnalysisReset
    reset share/KEY       reset by initialize
    allocations/KEY       heap allocations per pushed block once the stream runs
    stream/KEY/MINUTES    CPU seconds per minute of a stream of so many minutes
    growth/KEY/MINUTES    CPU seconds of such a stream by those of as many streams of one minute that
                          ran in turns with it
    memory/KEY/MINUTES    MB that the peak of resident memory grew by, per minute of audio

A figure is the least of its repetitions, as whatever disturbs a measurement makes it greater. Its
spread is how far the median lies above the least, as a share of the least: one repetition that
something else got in the way of leaves it alone. That of a quotient is the greater one of its two
parts. Growth is the median of its repetitions, since both of its parts are disturbed alike; its spread
is how far the others lie from it.
"""

from collections import defaultdict
from statistics import median

FORMAT = 1
MEGABYTE = 1e6


def figure(values):
    """The figure of some repetitions."""
    least = min(values)
    spread = median(values) / least - 1 if least > 0 else 0.0
    return {"value": least, "spread": spread}


def median_figure(values):
    """The figure of some repetitions that may be disturbed in either direction."""
    middle = median(values)
    return {"value": middle, "spread": max(abs(value - middle) for value in values) / middle}


def quotient(above, below):
    """The figure of one figure by another."""
    return {"value": above["value"] / below["value"],
            "spread": max(above["spread"], below["spread"])}


def total(figures):
    """The figure of several added up."""
    return {"value": sum(f["value"] for f in figures),
            "spread": max(f["spread"] for f in figures)}


def of_benches(records):
    """cost/, ratio/ and against/ of Google Benchmark's records."""
    seconds = defaultdict(list)
    labels = {}
    for record in sorted(records, key=lambda r: r["family_index"]):
        if record["time_unit"] != "ms":
            raise ValueError("times in milliseconds were expected")
        name = record["run_name"]
        seconds[name].append(record["cpu_time"] / 1e3 / record["minutes"])
        labels[name] = record.get("label", "")
    costs = {name: figure(values) for name, values in seconds.items()}
    figures = {"cost/" + name: cost for name, cost in costs.items()}
    for name, label in labels.items():
        kind = name.split("/")[0]
        if kind == "peer" and label in costs:
            figures[f"against/{label} by {name}"] = quotient(costs[label], costs[name])
        elif kind in ("key", "group"):
            floor = total([costs[part] for part in label.split(" + ")])
            figures["ratio/" + name] = quotient(costs[name], floor)
    return figures


def of_streams(streams):
    """All the others, of what run_streams gathered."""
    figures = {}
    for key, lengths in streams.items():
        first = lengths[1]
        for name, field in (("initialize", "initializeSeconds"), ("reset", "resetSeconds"),
                            ("allocations", "allocationsPerBlock")):
            figures[f"{name}/{key}"] = figure([run[field] for run in first])
        figures[f"reset share/{key}"] = quotient(figures[f"reset/{key}"],
                                                 figures[f"initialize/{key}"])
        for minutes, runs in sorted(lengths.items()):
            cost = figure([run["streamSeconds"] / minutes for run in runs])
            figures[f"stream/{key}/{minutes}"] = cost
            if minutes > 1:
                figures[f"growth/{key}/{minutes}"] = median_figure(
                    [run["wholeSeconds"] / run["partsSeconds"] for run in runs])
            figures[f"memory/{key}/{minutes}"] = figure(
                [run["residentBytes"] / MEGABYTE / minutes for run in runs])
    return figures


def document(machine, figures):
    """What is written to a file."""
    return {"format": FORMAT, "machine": machine, "figures": figures}


def check_document(stored):
    """Refuses what this version did not write, by ValueError."""
    if stored.get("format") != FORMAT:
        raise ValueError(f"format {stored.get('format')!r}, not {FORMAT}")
    for name, entry in stored["figures"].items():
        if set(entry) != {"value", "spread"}:
            raise ValueError(f"figure {name!r} is not a value and a spread")
    return stored
