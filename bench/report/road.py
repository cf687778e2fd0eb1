"""The ways that audio takes through the programs, by what the least of the work on them costs.

    road/NAME           the quotient of two costs of the same run
    road cost/NAME      CPU seconds of the whole way
    road base/NAME      CPU seconds of the work that it cannot do without
    road memory/NAME    MB that the peak of resident memory grew by, per minute of audio
    road push KIND/PART seconds of live pushes; KIND as in pushes.py, PART a range of minutes or "all"
    road share/PART     the worst push by the time that a block lasts

Each cost is the least of some repetitions, in which all of them take turns. script/bench --road calls
this; it takes some minutes.
"""

import argparse
import json
import os
import resource
import subprocess
import sys
import tempfile
from collections import defaultdict
from pathlib import Path

from bench.report import __main__ as report
from bench.report import figures, measure, pushes
from bench.report.tables import Table, number, target

BEGIN = "<!-- road of script/bench: do not edit -->"
END = "<!-- end of road -->"
REPETITIONS = 5
SAMPLES = 1000
SONG_SECONDS = 240
LIVE_BLOCK = 64
LIVE_RATE_HZ = 48000
LIVE_RUNS = 3
LIVE_PART_MINUTES = 5
# A whole number of the probe's blocks, like its samples.
SAMPLE_SECONDS = 11 * 4096 / 44100
HUNGRY = measure.HUNGRY_KEY

FRESH_ALL = "all keys, first minute of a process"
FRESH_HUNGRY = f'"{HUNGRY}", first minute of a process'
READ = "qel read, MP3 of 4 minutes"
CSV = "qel analyze --all --format csv, 1 minute"
READ_SAMPLES = "qel read, samples of 1 s, per file"
ANALYZE_SAMPLES = "qel analyze, samples of 1 s, per file"
THREADS = "all keys, two minutes in two threads"

# What each row is compared with, and what its cost is made of beyond that.
ROWS = {
    FRESH_ALL: ("the same analyzer after Reset",
                "kernels of the constant-Q spectrum; first use of the memory for results"),
    FRESH_HUNGRY: ("the same analyzer after Reset", "first use of the memory for results"),
    READ: ("ffmpeg -i FILE -f null -",
           "the K filter of libebur128, 10 ns per sample; then tempo and bars, key, bandwidth"),
    CSV: ("all keys alone, first minute of a process",
          "40 million numbers as text: their shortest digits, and writing 390 MB"),
    READ_SAMPLES: ("the readings alone, a new reader for each sample",
                   "start of the program; opening the file, 0.5 ms"),
    ANALYZE_SAMPLES: ("the keys alone, one analyzer that is reset",
                      "opening the file; 142 KB of JSON per file: its numbers as text, and writing them"),
    THREADS: ("one after the other; both wall-clock time", "the memory and caches that the cores share"),
}


def cpu_seconds(command, **options):
    """CPU seconds of a program and of what it starts."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    subprocess.run([str(word) for word in command], check=True, stdout=subprocess.DEVNULL,
                   stderr=subprocess.PIPE, **options)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return after.ru_utime - before.ru_utime + after.ru_stime - before.ru_stime


class Audio:
    """The bench's music as files."""

    def __init__(self, probe, folder):
        self.song = folder / "song.mp3"
        self.minute = folder / "minute.wav"
        self.samples = [folder / "samples" / f"{i:04}.wav" for i in range(SAMPLES)]
        encode(probe, 2, SONG_SECONDS, ["-b:a", "192k", self.song])
        encode(probe, 1, 60, ["-c:a", "pcm_f32le", self.minute])
        self.samples[0].parent.mkdir()
        encode(probe, 1, SAMPLES * SAMPLE_SECONDS / 50,
               ["-c:a", "pcm_s16le", "-f", "segment", "-segment_time", str(SAMPLE_SECONDS),
                self.samples[0].parent / "%04d.wav"])
        made = sorted(self.samples[0].parent.glob("*.wav"))
        for i, path in enumerate(self.samples[len(made):]):
            os.link(made[i % len(made)], path)


def encode(probe, channels, seconds, output):
    """Makes a file of the probe's audio by ffmpeg."""
    audio = subprocess.Popen([str(probe), "audio", str(channels), str(seconds)],
                             stdout=subprocess.PIPE)
    subprocess.run(["ffmpeg", "-v", "error", "-y", "-f", "f32le", "-ar", "44100", "-ac", str(channels),
                    "-i", "-", *map(str, output)], check=True, stdin=audio.stdout)
    audio.stdout.close()
    if audio.wait() != 0:
        raise RuntimeError(f"{probe} failed")


class Measures:
    """Every cost that rows are made of, by name; each call measures once."""

    def __init__(self, build, folder, keys):
        self.bin = build / "bin"
        self.folder = folder
        self.keys = keys
        self.probe = self.bin / "qel_road_probe"
        self.audio = Audio(self.probe, folder)
        self.default_keys = self.keys_of_analyze()

    def keys_of_analyze(self):
        """What `qel analyze` analyzes if no keys are named."""
        found = subprocess.run([str(self.bin / "qel"), "analyze", "--quiet", str(self.audio.samples[0])],
                               check=True, stdout=subprocess.PIPE, text=True).stdout
        return list(json.loads(found)["files"][0]["keys"])

    def qel(self, *words):
        return cpu_seconds([self.bin / "qel", *words])

    def stream(self, name, keys):
        run = measure.run_probe(self.probe, "stream", *keys)
        return {f"road cost/{name}": run["freshSeconds"], f"road base/{name}": run["warmSeconds"],
                f"road memory/{name}": run["residentBytes"] / figures.MEGABYTE}

    def fresh_all(self):
        costs = self.stream(FRESH_ALL, self.keys)
        return {**costs, f"road base/{CSV}": costs[f"road cost/{FRESH_ALL}"]}

    def fresh_hungry(self):
        return self.stream(FRESH_HUNGRY, [HUNGRY])

    def read(self):
        return {f"road cost/{READ}": self.qel("read", self.audio.song),
                f"road base/{READ}": cpu_seconds(
                    ["ffmpeg", "-v", "error", "-i", self.audio.song, "-f", "null", "-"])}

    def csv(self):
        return {f"road cost/{CSV}": self.qel("analyze", "--all", "--format", "csv", "--overwrite",
                                             "--output", self.folder / "csv", self.audio.minute)}

    def read_samples(self):
        alone = measure.run_probe(self.probe, "samples", str(SAMPLES))["seconds"]
        whole = self.qel("read", "--format", "csv", *self.audio.samples)
        return {f"road cost/{READ_SAMPLES}": whole / SAMPLES, f"road base/{READ_SAMPLES}": alone}

    def analyze_samples(self):
        alone = measure.run_probe(self.probe, "samples", str(SAMPLES), *self.default_keys)
        whole = self.qel("analyze", "--output", self.folder / "samples.json", "--overwrite",
                         *self.audio.samples)
        return {f"road cost/{ANALYZE_SAMPLES}": whole / SAMPLES,
                f"road base/{ANALYZE_SAMPLES}": alone["seconds"]}

    def threads(self):
        run = measure.run_probe(self.probe, "threads", *self.keys)
        return {f"road cost/{THREADS}": run["atOnceSeconds"],
                f"road base/{THREADS}": run["inTurnsSeconds"]}

    def all(self):
        return (self.fresh_all, self.fresh_hungry, self.read, self.csv, self.read_samples,
                self.analyze_samples, self.threads)


def run_rows(measures, progress):
    """{name: [value of each repetition]}, the rows in turns."""
    values = defaultdict(list)
    for repetition in range(REPETITIONS):
        for row in measures.all():
            progress(f"{row.__name__}, {repetition + 1} of {REPETITIONS}")
            for name, value in row().items():
                values[name].append(value)
    return values


def of_rows(values):
    """Figures of what run_rows found."""
    found = {name: figures.figure(some) for name, some in values.items()}
    for row in ROWS:
        cost, base = found.get(f"road cost/{row}"), found.get(f"road base/{row}")
        if cost and base:
            found[f"road/{row}"] = figures.quotient(cost, base)
    return found


def of_live(times):
    """Figures of what the push probe printed."""
    block_seconds = LIVE_BLOCK / LIVE_RATE_HZ
    parts = {f"{LIVE_PART_MINUTES * i} to {LIVE_PART_MINUTES * (i + 1)}": part
             for i, part in enumerate(times["parts"])}
    found = {}
    for part, of in {**parts, "all": times}.items():
        for kind in ("median", "p9999", "worst"):
            found[f"road push {kind}/{part}"] = {"value": of[f"{kind}Seconds"], "spread": 0.0}
        found[f"road share/{part}"] = {"value": of["worstSeconds"] / block_seconds, "spread": 0.0}
    return found


def road_table(found):
    table = Table("Whole ways, by the work that they cannot do without",
                  ["what", "seconds", "beside", "seconds", "ratio", "target", "beyond it"])
    for row, (beside, limit) in ROWS.items():
        name = f"road/{row}"
        table.rows.append([row, number(found, f"road cost/{row}", 4), beside,
                           number(found, f"road base/{row}", 4), number(found, name),
                           target(found, name), limit])
    memory = f"road memory/{FRESH_HUNGRY}"
    table.rows.append([f'"{HUNGRY}", MB per minute', "-", "", "-", number(found, memory, 1),
                       target(found, memory), "the results of the stream, which it must keep"])
    return table


def live_table(found):
    table = Table(f"Live: pushes of {LIVE_BLOCK} samples at 48 kHz, all per-frame keys, "
                  f"{1e6 * LIVE_BLOCK / LIVE_RATE_HZ:.0f} µs each: µs of a push",
                  ["minutes", "median", "99.99 %", "worst", "worst : block", "target"])
    for name in found:
        if name.startswith("road share/"):
            part = name.removeprefix("road share/")
            table.rows.append([part] + [number(found, f"road push {kind}/{part}", 2, 1e6)
                                        for kind in ("median", "p9999", "worst")]
                              + [number(found, name, 3), target(found, name)])
    return table


def document_of(build, progress):
    """Measures everything."""
    keys = measure.list_keys(build / "bin" / "qel_bench")
    with tempfile.TemporaryDirectory() as folder:
        progress("making audio")
        values = run_rows(Measures(build, Path(folder), keys), progress)
    progress("live pushes")
    per_frame = [key for key in keys if key not in pushes.WHOLE_STREAM_KEYS]
    live = measure.run_probe(build / "bin" / "qel_push_probe", "--live", str(LIVE_BLOCK),
                             str(LIVE_RUNS), "declared", *per_frame)
    progress("")
    return figures.document(measure.describe_machine(), {**of_rows(values), **of_live(live)})


def arguments(words):
    parser = argparse.ArgumentParser(
        prog="script/bench --road",
        description="Whole ways of audio through the programs by the work that they cannot do "
                    "without, and live pushes. Four minutes.")
    parser.add_argument("--road", action="store_true", help=argparse.SUPPRESS)
    parser.add_argument("--build", type=Path, default=report.ROOT / "build" / "release",
                        help=argparse.SUPPRESS)
    parser.add_argument("--from", dest="source", type=Path, metavar="FILE",
                        help="figures that --json wrote; nothing is measured")
    parser.add_argument("--json", type=Path, metavar="FILE",
                        help="write the figures there too (without it: road.json in the build)")
    parser.add_argument("--page", action="store_true",
                        help="put the tables into docs/performance.md")
    return parser.parse_args(words)


def main(words):
    options = arguments(words)
    if options.source:
        run = report.load(options.source)
    else:
        run = document_of(options.build, report.progress)
        report.store(run, options.json or options.build / "road.json")
    tables = [road_table(run["figures"]), live_table(run["figures"])]
    machine = f"Machine: {run['machine']}"
    print("\n\n".join([machine, *(table.text() for table in tables)]))
    if options.page:
        page = report.PAGE.read_text(encoding="utf-8")
        text = "\n\n".join([machine, *(table.markdown() for table in tables)])
        report.PAGE.write_text(report.filled(page, text, BEGIN, END), encoding="utf-8")


if __name__ == "__main__":
    try:
        main(sys.argv[1:])
    except (OSError, RuntimeError, ValueError, subprocess.CalledProcessError) as fault:
        sys.exit(f"bench: {fault}")
