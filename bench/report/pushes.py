"""Every push of a stream: its worst against its median, and against the time that its block lasts.

    push median/KEY/BLOCK/LENGTH   seconds of half of the pushes at most, in blocks of BLOCK samples
    push p9999/KEY/BLOCK/LENGTH    of 99.99 % of them
    push worst/KEY/BLOCK/LENGTH    of all of them
    push frame/KEY/BLOCK/LENGTH    the median of those that complete a frame
    push ratio/KEY/BLOCK/LENGTH    the worst by that
    push share/KEY/BLOCK/LENGTH    the worst by the time that a block lasts

LENGTH is "declared" or "unknown".
"""

import random

from bench.report import measure
from bench.report.tables import Table, number, target

RUNS = 5
BLOCKS = (64, 256, 1024)
LENGTHS = ("declared", "unknown")
RATE_HZ = 44100
ALL_PER_FRAME = "all per-frame keys"
# Delivered with the whole stream alone.
WHOLE_STREAM_KEYS = ("global tempo", "global number of beats per bar", "global key", "onset data",
                     "beat data", "down beat data", "audio range", "reasigned spectrum")
# Takes multiples of it.
LEAST_BLOCKS = {"audio range": 512}


def plan(keys, together):
    """(subject, its keys, block, length) of every stream to time."""
    subjects = [(key, [key]) for key in keys]
    if together:
        subjects.append((ALL_PER_FRAME, [key for key in keys if key not in WHOLE_STREAM_KEYS]))
    return [(name, wanted, block, length) for name, wanted in subjects for block in BLOCKS
            for length in LENGTHS if block >= LEAST_BLOCKS.get(name, 1)]


def run(program, wanted, runs=RUNS, progress=lambda text: None):
    """{(subject, block, length): what the probe printed}, in a shuffled order."""
    rounds = list(wanted)
    random.Random(1).shuffle(rounds)
    found = {}
    for i, (name, keys, block, length) in enumerate(rounds):
        progress(f"pushes {i + 1} of {len(rounds)}: {name}, blocks of {block}, {length}")
        found[name, block, length] = measure.run_probe(program, str(block), str(runs), length, *keys)
    return {(name, block, length): found[name, block, length] for name, _, block, length in wanted}


def figures_of(found):
    """The figures of what run gathered."""
    figures = {}
    for (name, block, length), times in found.items():
        place = f"{name}/{block}/{length}"
        values = {"median": times["medianSeconds"], "p9999": times["p9999Seconds"],
                  "worst": times["worstSeconds"], "frame": times["frameSeconds"],
                  "ratio": times["worstSeconds"] / times["frameSeconds"],
                  "share": times["worstSeconds"] * RATE_HZ / block}
        for kind, value in values.items():
            figures[f"push {kind}/{place}"] = {"value": value, "spread": 0.0}
    return figures


def block_table(figures, block):
    """All keys at one size of block."""
    duration = 1e6 * block / RATE_HZ
    table = Table(f"Pushes of {block} samples, which last {duration:.0f} µs: µs of a push",
                  ["keys", "median", "of a frame", "99.99 %", "worst", "worst : of a frame", "target",
                   "unknown length: worst", "worst : of a frame", "target"])
    for name in figures:
        if not (name.startswith("push frame/") and name.endswith(f"/{block}/declared")):
            continue
        place = name.removeprefix("push frame/")
        unknown = place.removesuffix("declared") + "unknown"
        row = [place.split("/")[0]]
        row += [number(figures, f"push {kind}/{place}", 2, 1e6)
                for kind in ("median", "frame", "p9999", "worst")]
        for at in (place, unknown):
            if at == unknown:
                row.append(number(figures, f"push worst/{at}", 2, 1e6))
            row += [number(figures, f"push ratio/{at}"), judged(figures, at)]
        table.rows.append(row)
    return table


def judged(figures, place):
    """The target of a row, be it that of one key or that of all."""
    share = target(figures, f"push share/{place}")
    return share + " of the block" if share else target(figures, f"push ratio/{place}")


def tables(figures):
    """Those that have rows."""
    return [table for table in (block_table(figures, block) for block in BLOCKS) if table.rows]
