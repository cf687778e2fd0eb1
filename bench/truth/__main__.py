"""Measures systems on material with known truth.

    script/truth                                    the develop half, all systems
    script/truth --half measure                     the other half: for figures that are published
    script/truth --systems keys,librosa             these alone; FILE.py:CLASS is one of your own
    script/truth --measures "beat F,tempo exact"    these alone
    script/truth --variants base                    without noise, coding and the second font
    script/truth --limit 10                         the first pieces alone
    script/truth --reliability --output PICTURE.svg whether strengths of readings are shares of right answers
    script/truth --plot NAME --output PICTURE.png   a recording with its truth, to be looked at
"""

import argparse
import json
import sys
from pathlib import Path

from bench.truth.manifest import HALVES, plans_of
from bench.truth.material import MATERIAL_VERSION, material
from bench.truth.measures import measured
from bench.truth.paths import cache, write_whole
from bench.truth.runner import Missing, run_system, stderr_line
from bench.truth.systems import SYSTEMS
from bench.truth.tables import report

VARIANTS = ("base", "noise", "codec", "other font")


def arguments():
    parser = argparse.ArgumentParser(prog="script/truth", description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--half", choices=HALVES, default="develop")
    parser.add_argument("--systems", default=",".join(SYSTEMS), help="separated by commas; default: %(default)s")
    parser.add_argument("--measures", default="", help="separated by commas; default: all")
    parser.add_argument("--variants", default=",".join(VARIANTS), help="separated by commas; default: %(default)s")
    parser.add_argument("--limit", type=int, help="so many pieces of every kind")
    parser.add_argument("--output", type=Path, help="where the table goes; the JSON beside it (default: the cache)")
    parser.add_argument("--only-make", action="store_true", help="make the recordings and measure nothing")
    parser.add_argument("--reliability", action="store_true", help="draw the strengths of the readings instead")
    parser.add_argument("--plot", metavar="NAME", help="draw one recording, such as score003-base, instead")
    parser.add_argument("--at", type=float, default=0.0, help="the second that the drawing begins at")
    parser.add_argument("--seconds", type=float, default=6.0, help="the length of the drawing")
    return parser.parse_args()


def limited(plans, limit):
    """The first plans of every kind."""
    if limit is None:
        return plans
    kinds = sorted({plan.kind for plan in plans})
    return [plan for kind in kinds for plan in [each for each in plans if each.kind == kind][:limit]]


def given_answers(items, results):
    """What a system answers for each kind of recording."""
    given = {}
    for item in items:
        given.setdefault(item.plan.kind, set()).update(results[item.name].get("answers", {}))
    return given


def row_of(item, result, given):
    """A system that failed has no answer to anything that it answers elsewhere."""
    answers = result.get("answers", dict.fromkeys(given))
    return {"item": item.name, "record": {key: value for key, value in item.truth().items() if key not in
                                          ("beats", "downbeats", "onsets", "f0")},
            "measures": measured(item.truth(), answers), "cpu_seconds": result.get("cpu_seconds"),
            "fault": result.get("fault")}


def measure_systems(names, items):
    """({system: rows}, {system: version or what is missing})."""
    systems, about = {}, {}
    for name in names:
        try:
            identity, results = run_system(name, items, stderr_line)
        except Missing as missing:
            about[name] = f"not measured ({missing})"
            stderr_line(f"{name}: not measured: {missing}")
            continue
        about[identity["name"]] = identity["version"]
        given = given_answers(items, results)
        systems[identity["name"]] = [row_of(item, results[item.name], given[item.plan.kind]) for item in items]
    return systems, about


def draw(options, items):
    from bench.truth.plots import plot
    chosen = [item for item in items if item.name == options.plot]
    if not chosen:
        raise SystemExit(f"--plot {options.plot}: no such recording in this half")
    plot(chosen[0], options.output or Path(f"{options.plot}.png"), options.at, options.seconds)


def measure_reliability(options, items):
    from bench.truth.reliability import report as reliability_report
    items = [item for item in items if item.plan.kind == "score"]
    _, results = run_system("readings-strengths", items, stderr_line)
    path = options.output or Path("reliability.svg")
    print(reliability_report(items, results, path, options.half))
    stderr_line(f"drawn to {path}")


def main():
    options = arguments()
    variants = tuple(options.variants.split(","))
    unknown = set(variants) - set(VARIANTS)
    if unknown:
        raise SystemExit(f"--variants: unknown {', '.join(sorted(unknown))}; there are {', '.join(VARIANTS)}")
    plans = limited(plans_of(options.half), options.limit)
    if options.plot:
        plans = [plan for plan in plans if options.plot.startswith(plan.name + "-")]
    items = material(plans, variants, stderr_line)
    if options.plot:
        draw(options, items)
    elif options.reliability:
        measure_reliability(options, items)
    elif not options.only_make:
        chosen = tuple(each for each in options.measures.split(",") if each)
        systems, about = measure_systems(options.systems.split(","), items)
        text = report(systems, about, options.half, chosen)
        path = options.output or cache() / f"table-{options.half}.md"
        write_whole(path, text)
        record = {"half": options.half, "material": MATERIAL_VERSION, "about": about, "systems": systems}
        write_whole(path.with_suffix(".json"), json.dumps(record))
        print(text)
        stderr_line(f"written to {path} and {path.with_suffix('.json')}")


if __name__ == "__main__":
    sys.exit(main())
