"""Measures the Python package beside librosa and essentia: script/bench --python runs it.

CPU time of this process, which all systems share: a minute of audio as a NumPy array in, arrays out. The
systems take turns; the first call of each is not counted, as it compiles and fills caches.
"""

import argparse
import gc
import math
import sys
import time
from pathlib import Path

from bench.python.audio import RATE, minute
from bench.python.features import FEATURES, TOGETHER
from bench.python.tables import figures_table, settings_table
from bench.report.__main__ import PAGE, filled
from bench.report.measure import describe_machine, pin_to_one_core

BEGIN = "<!-- python of script/bench: do not edit -->"
END = "<!-- end of python -->"
#: Of the first call, which is not counted: enough for beats.
WARM_SECONDS = 20
#: A system this much slower than the fastest one is measured once: more rounds do not change the row.
HOPELESS = 10


def seconds_of(call, audio):
    gc.collect()
    start = time.process_time()
    result = call(audio)
    taken = time.process_time() - start
    del result
    return taken


def least_seconds(systems, feature, audio, rounds):
    """By the names of the systems that have the feature."""
    calls = {system.name: system.calls[feature] for system in systems if feature in system.calls}
    for call in calls.values():
        call(audio[:WARM_SECONDS * RATE])
    least = dict.fromkeys(calls, math.inf)
    for _ in range(rounds):
        for name, call in calls.items():
            if least[name] == math.inf or least[name] < HOPELESS * min(least.values()):
                least[name] = min(least[name], seconds_of(call, audio))
    return least


def main(words):
    parser = argparse.ArgumentParser(prog="script/bench --python", description=__doc__.split("\n")[0])
    parser.add_argument("--python", action="store_true", help=argparse.SUPPRESS)
    parser.add_argument("--rounds", type=int, default=7, help="of which the least time is taken (7)")
    parser.add_argument("--page", action="store_true", help="put the tables into docs/performance.md")
    options = parser.parse_args(words)
    pin_to_one_core()
    from bench.python.ours import Ours
    from bench.python.with_essentia import Essentia
    from bench.python.with_librosa import Librosa

    systems = [Ours(), Librosa(), Essentia()]
    audio = minute()
    measured = {feature.name: least_seconds(systems, feature.name, audio, options.rounds)
                for feature in [*FEATURES, TOGETHER]}
    names = [system.name for system in systems]
    tables = [figures_table(measured, names), settings_table()]
    machine = f"Machine: {describe_machine()}"
    print(f"{machine}\n\n{tables[0].text()}")
    if options.page:
        text = "\n\n".join([machine, *(table.markdown() for table in tables)])
        PAGE.write_text(filled(PAGE.read_text(encoding="utf-8"), text, BEGIN, END), encoding="utf-8")


if __name__ == "__main__":
    main(sys.argv[1:])
