"""The measured seconds as tables."""

from bench.python.features import FEATURES, TOGETHER
from bench.report.tables import Table

ALONE = "MFCC"  # a reading, which is no key: it is not part of the one call
FASTEST = "fastest peers"


def best_peer(seconds, ours):
    """The least of the peers."""
    return min(taken for name, taken in seconds.items() if name != ours)


def together(measured, ours):
    """The row of all features: ours in one call, the fastest peer of each feature added up."""
    parts = [best_peer(measured[feature.name], ours) for feature in FEATURES if feature.name != ALONE]
    return {ours: measured[TOGETHER.name][ours], FASTEST: sum(parts)}


def figures_table(measured, systems):
    ours, *peers = systems
    table = Table("CPU seconds of one minute of audio", ["feature", *systems, "times as fast", "target"])
    for feature in [*FEATURES, TOGETHER]:
        is_sum = feature is TOGETHER
        seconds = together(measured, ours) if is_sum else measured[feature.name]
        ratio = best_peer(seconds, ours) / seconds[ours]
        shown = [f"{seconds[name]:.4f}" if name in seconds else "-" for name in peers]
        if is_sum:
            shown = [f"fastest of each: {seconds[FASTEST]:.4f}", *([""] * (len(peers) - 1))]
        verdict = "met" if ratio >= feature.target else "MISSED"
        table.rows.append(
            [feature.name, f"{seconds[ours]:.4f}", *shown, f"{ratio:.2f}", f">= {feature.target:g} {verdict}"])
    return table


def settings_table():
    table = Table("Settings", ["feature", "the same for all", "what differs"])
    table.rows += [[row.name, row.shared, row.differences] for row in [*FEATURES, TOGETHER]]
    return table
