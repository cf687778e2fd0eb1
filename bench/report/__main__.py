"""Measures, prints and compares. script/bench builds the programs and calls this."""

import argparse
import json
import re
import subprocess
import sys
from pathlib import Path

from bench.report import compare, figures, measure, pushes, tables

ROOT = Path(__file__).resolve().parents[2]
BASELINE = ROOT / "bench" / "baseline.json"
PAGE = ROOT / "docs" / "performance.md"
BEGIN = "<!-- figures of script/bench: do not edit -->"
END = "<!-- end of figures -->"
BEGIN_PUSHES = "<!-- pushes of script/bench: do not edit -->"
END_PUSHES = "<!-- end of pushes -->"


def arguments(words):
    parser = argparse.ArgumentParser(
        prog="script/bench",
        description="CPU time of every key by its floor, set-up, allocations, memory and growth; "
                    "peers beside them where they are installed. A few minutes.")
    parser.add_argument("--build", type=Path, default=ROOT / "build" / "release",
                        help=argparse.SUPPRESS)
    parser.add_argument("--long", action="store_true",
                        help="streams of 20 and 60 minutes too; about half an hour")
    parser.add_argument("--pushes", action="store_true",
                        help="every push of a stream, and nothing else; about five minutes")
    parser.add_argument("--python", action="store_true",
                        help="the Python package beside librosa and essentia, and nothing else; "
                             "two minutes; with --page, into docs/performance.md")
    parser.add_argument("--runs", type=int, default=pushes.RUNS, metavar="N",
                        help="with --pushes: streams of which the least time of each push is taken")
    parser.add_argument("--only", metavar="REGEX", type=re.compile,
                        help="what matches alone, such as 'tempo' or 'key/constant q'")
    parser.add_argument("--from", dest="source", type=Path, metavar="FILE",
                        help="figures that --json wrote; nothing is measured")
    parser.add_argument("--json", type=Path, metavar="FILE",
                        help="write the figures there too (without it: bench.json in the build)")
    parser.add_argument("--compare", nargs="?", type=Path, const=BASELINE, metavar="FILE",
                        help="print what moved since the stored run (bench/baseline.json)")
    parser.add_argument("--save", action="store_true", help="make this run bench/baseline.json")
    parser.add_argument("--markdown", action="store_true", help="print the tables as Markdown")
    parser.add_argument("--page", action="store_true",
                        help="put the tables into docs/performance.md")
    return parser.parse_args(words)


def progress(text):
    """One line that is written over, for a person alone."""
    if sys.stderr.isatty():
        print(f"\r\033[K{text}", end="", file=sys.stderr, flush=True)


def measured(options):
    measure.pin_to_one_core()
    benches, probe = (options.build / "bin" / name for name in ("qel_bench", "qel_stream_probe"))
    keys = measure.list_keys(benches)
    only = options.only
    if only:
        keys = [key for key in keys if only.search("key/" + key)]
    progress("keys, groups, floors and peers")
    records = measure.run_benches(benches, only.pattern if only else None)
    minutes = measure.LONG_MINUTES if options.long else measure.SHORT_MINUTES
    plan = measure.stream_plan(keys, minutes, together=not only)
    streams = measure.run_streams(probe, plan, progress)
    progress("")
    return figures.document(measure.describe_machine(),
                            {**figures.of_benches(records), **figures.of_streams(streams)})


def pushes_measured(options):
    measure.pin_to_one_core()
    keys = measure.list_keys(options.build / "bin" / "qel_bench")
    if options.only:
        keys = [key for key in keys if options.only.search("key/" + key)]
    wanted = pushes.plan(keys, together=not options.only)
    found = pushes.run(options.build / "bin" / "qel_push_probe", wanted, options.runs, progress)
    progress("")
    return figures.document(measure.describe_machine(), pushes.figures_of(found))


def load(path):
    return figures.check_document(json.loads(path.read_text(encoding="utf-8")))


def store(run, path):
    path.write_text(json.dumps(run, indent=1) + "\n", encoding="utf-8")


def report(run, markdown):
    shown = tables.all_tables(run["figures"]) + pushes.tables(run["figures"])
    parts = [table.markdown() if markdown else table.text() for table in shown]
    missed = tables.missed(run["figures"])
    mark = "- " if markdown else "  "
    parts.append("\n".join([f"Targets that are missed: {len(missed)}", ""]
                           + [mark + line for line in missed]).rstrip())
    return "\n\n".join([f"Machine: {run['machine']}", *parts])


def filled(page, text, begin=BEGIN, end=END):
    """The page with the text between two marks."""
    before, rest = page.split(begin)
    _, after = rest.split(end)
    return f"{before}{begin}\n{text}\n{end}{after}"


def main(words):
    options = arguments(words)
    before = load(options.compare) if options.compare else None
    if options.pushes and options.save:
        raise ValueError("pushes are not stored: leave --save out")
    name = "pushes.json" if options.pushes else "bench.json"
    run_all = pushes_measured if options.pushes else measured
    run = load(options.source) if options.source else run_all(options)
    if not options.source:
        store(run, options.json or options.build / name)
    print(report(run, options.markdown))
    if options.page:
        page = PAGE.read_text(encoding="utf-8")
        marks = (BEGIN_PUSHES, END_PUSHES) if options.pushes else (BEGIN, END)
        PAGE.write_text(filled(page, report(run, markdown=True), *marks), encoding="utf-8")
    if before:
        print("\nSince", options.compare.name)
        print("\n".join(compare.compare(before, run)[0]))
    if options.save:
        store(run, BASELINE)


if __name__ == "__main__":
    try:
        main(sys.argv[1:])
    except (OSError, RuntimeError, ValueError, subprocess.CalledProcessError) as fault:
        sys.exit(f"bench: {fault}")
