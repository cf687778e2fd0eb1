"""Instructions of every key and reading for six seconds of audio, by callgrind, beside stored ones.

script/bench --instructions calls this. Other work on the machine does not change the counts. Nor does
the machine: valgrind shows every program the same processor, with AVX2, and every library picks its
vector code by that. Counts differ between compilers, transform backends and releases of the system,
so that the stored ones say which they are of.
"""

import argparse
import json
import platform
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

from bench.report.tables import Table

ROOT = Path(__file__).resolve().parents[2]
STORED = ROOT / "bench" / "instructions.json"
FORMAT = 1
# A count that is more above the stored one fails.
LIMIT_PERCENT = 5
COUNTED = "qel_counted_stream"
TOTALS = re.compile(r"^totals: (\d+)$", re.MULTILINE)


def arguments(words):
    parser = argparse.ArgumentParser(
        prog="script/bench --instructions",
        description="Counts the instructions of every key and reading for six seconds of audio, by "
                    "callgrind. Half a minute.")
    parser.add_argument("--instructions", action="store_true", help=argparse.SUPPRESS)
    parser.add_argument("--build", type=Path, default=ROOT / "build" / "release",
                        help=argparse.SUPPRESS)
    parser.add_argument("--only", metavar="REGEX", type=re.compile,
                        help="subjects that match alone, such as 'tempo' or 'reading/'")
    parser.add_argument("--compare", action="store_true",
                        help=f"fail if a count is over {LIMIT_PERCENT} %% above bench/instructions.json")
    parser.add_argument("--save", action="store_true",
                        help=f"store the counts that differ by more than {LIMIT_PERCENT} %%; "
                             "needs --because")
    parser.add_argument("--because", metavar="REASON",
                        help="why the counts changed; stored beside them")
    options = parser.parse_args(words)
    if options.save and not (options.because or "").strip():
        parser.error("--save needs --because REASON")
    if options.because and not options.save:
        parser.error("--because is for --save")
    return options


def require_processor(cpu_info):
    """Refuses a machine on which valgrind would show another processor."""
    flags = re.search(r"^flags\s*:(.*)$", cpu_info, re.MULTILINE)
    if flags is None or "avx2" not in flags[1].split():
        raise RuntimeError("instructions are counted with AVX2, which this processor does not have")


def count(program, subjects):
    """{subject: instructions}; all subjects if none are given."""
    if shutil.which("valgrind") is None:
        raise RuntimeError("valgrind is missing: script/bootstrap installs it")
    with tempfile.TemporaryDirectory() as folder:
        command = ["valgrind", "--quiet", "--tool=callgrind", f"--callgrind-out-file={folder}/out",
                   f"--toggle-collect={COUNTED}", f"--dump-after={COUNTED}", str(program), *subjects]
        ended = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        if ended.returncode != 0:
            raise RuntimeError(f"{program} failed: {ended.stderr.strip()}")
        return counts_of(ended.stdout.splitlines(), Path(folder))


def counts_of(names, folder):
    """The counts in callgrind's files out.1, out.2 and so on, of the subjects in their order."""
    if len(list(folder.glob("out.*"))) != len(names):
        raise RuntimeError(f"callgrind did not write one file for each of {len(names)} subjects")
    counts = {}
    for i, name in enumerate(names):
        totals = TOTALS.search((folder / f"out.{i + 1}").read_text(encoding="utf-8"))
        if totals is None or int(totals[1]) == 0:
            raise RuntimeError(f"callgrind counted nothing for {name}")
        counts[name] = int(totals[1])
    return counts


def output_of(program, word):
    """The lines that the probe prints about itself."""
    return subprocess.run([str(program), word], check=True, stdout=subprocess.PIPE,
                          text=True).stdout.splitlines()


def describe_build(program):
    """What the counts depend on besides the code."""
    return ", ".join([*output_of(program, "--build"),
                      platform.freedesktop_os_release()["PRETTY_NAME"]])


def load(path=STORED):
    """The stored document. Refuses what this version did not write, by ValueError."""
    stored = json.loads(path.read_text(encoding="utf-8"))
    if stored.get("format") != FORMAT:
        raise ValueError(f"{path.name}: format {stored.get('format')!r}, not {FORMAT}")
    for name, figure in stored["figures"].items():
        if set(figure) != {"instructions", "reason"} or not figure["reason"].strip():
            raise ValueError(f"{path.name}: {name!r} is not a count and a reason")
    return stored


def is_beyond(more, less):
    """Whether one count is above another one by more than the limit; of whole numbers, exactly."""
    return 100 * more > (100 + LIMIT_PERCENT) * less


def change(before, after):
    """The change as text."""
    return f"{100 * (after / before - 1):+.2f}"


def failures(figures, counts, complete):
    """One line for each count that fails, and for stored ones without a subject."""
    lines = []
    for name, after in counts.items():
        if name not in figures:
            lines.append(f"{name}: no count is stored")
            continue
        before = figures[name]["instructions"]
        if is_beyond(after, before):
            lines.append(f"{name}: {before} -> {after} instructions, {change(before, after)} %, "
                         f"limit +{LIMIT_PERCENT} %")
    if complete:
        lines += [f"{name}: stored, but there is no such key or reading"
                  for name in figures if name not in counts]
    return lines


def renewed(figures, counts, reason, complete):
    """The figures to store. Counts within the limit stay, so that small steps add up to be seen."""
    after = {} if complete else dict(figures)
    for name, count_now in counts.items():
        before = figures[name]["instructions"] if name in figures else 0
        moved = is_beyond(count_now, before) or is_beyond(before, count_now)
        after[name] = {"instructions": count_now, "reason": reason} if moved else figures[name]
    return after


def table(figures, counts):
    shown = Table("Instructions for six seconds of audio, in millions",
                  ["keys", "counted", "stored", "change %"])
    for name, after in counts.items():
        row = [name, f"{after / 1e6:.2f}", "-", "-"]
        if name in figures:
            before = figures[name]["instructions"]
            row[2:] = [f"{before / 1e6:.2f}", change(before, after)]
        shown.rows.append(row)
    return shown


def subjects_of(program, only):
    """The subjects to name to the probe: none for all."""
    if only is None:
        return []
    matching = [name for name in output_of(program, "--list") if only.search(name)]
    if not matching:
        raise ValueError(f"no key or reading matches {only.pattern!r}")
    return matching


def main(words):
    options = arguments(words)
    require_processor(Path("/proc/cpuinfo").read_text(encoding="utf-8"))
    program = options.build / "bin" / "qel_instruction_probe"
    build = describe_build(program)
    stored = load() if STORED.exists() else {"build": build, "figures": {}}
    same = stored["build"] == build
    figures = stored["figures"] if same else {}
    complete = options.only is None
    if not same and (options.compare or not complete):
        raise ValueError(f"{STORED.name} is of {stored['build']}; this build is {build}")
    counts = count(program, subjects_of(program, options.only))
    print(table(figures, counts).text())
    if options.save:
        document = {"format": FORMAT, "build": build,
                    "figures": renewed(figures, counts, options.because.strip(), complete)}
        STORED.write_text(json.dumps(document, indent=1) + "\n", encoding="utf-8")
        return 0
    failed = failures(figures, counts, complete) if options.compare else []
    if failed:
        print("\n" + "\n".join(failed))
        print("If the change needs them: script/bench --instructions --save --because REASON")
    return 1 if failed else 0


if __name__ == "__main__":
    try:
        sys.exit(main(sys.argv[1:]))
    except (OSError, RuntimeError, ValueError, subprocess.CalledProcessError) as fault:
        sys.exit(f"bench: {fault}")
