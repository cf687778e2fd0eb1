"""Runs the bench's two programs and gathers what they print."""

import json
import os
import platform
import random
import subprocess
import tempfile
from pathlib import Path

REPETITIONS = 5
GROWTH_REPETITIONS = 3
SHORT_MINUTES = (1, 5)
LONG_MINUTES = (1, 5, 20, 60)
# It keeps a quarter of a gigabyte per minute of audio.
HUNGRY_KEY = "reasigned spectrum"
HUNGRY_MINUTES = 1
ALL_BUT_HUNGRY = "all keys but " + HUNGRY_KEY


def pin_to_one_core():
    """This process and those that it starts stay on one core, where the system can do that."""
    if hasattr(os, "sched_setaffinity"):
        os.sched_setaffinity(0, {max(os.sched_getaffinity(0))})


def describe_machine():
    """Text by which a reader, and a comparison, tells machines apart."""
    processor = platform.machine()
    cpu_info = Path("/proc/cpuinfo")
    if cpu_info.exists():
        for line in cpu_info.read_text().splitlines():
            if line.startswith("model name"):
                processor = line.split(":", 1)[1].strip()
                break
    system = platform.freedesktop_os_release().get("PRETTY_NAME", platform.system())
    return f"{processor}, {os.cpu_count()} cores, {system}"


def run_benches(program, only=None):
    """Every repetition of every bench: a list of Google Benchmark's own records."""
    with tempfile.TemporaryDirectory() as folder:
        out = Path(folder) / "out.json"
        command = [str(program), f"--benchmark_out={out}", "--benchmark_out_format=json",
                   f"--benchmark_repetitions={REPETITIONS}", "--benchmark_min_time=0.05",
                   "--benchmark_enable_random_interleaving=true"]
        if only:
            command.append(f"--benchmark_filter=({only})|^floor/")
        ended = subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                               text=True)
        if ended.returncode != 0:
            raise RuntimeError(f"{program} failed: {ended.stderr.strip()}")
        records = json.loads(out.read_text())["benchmarks"]
    failed = [r["name"] + ": " + r["error_message"] for r in records if r.get("error_occurred")]
    if failed:
        raise RuntimeError("\n".join(sorted(set(failed))))
    return [record for record in records if record["run_type"] == "iteration"]


def list_benches(program):
    """The names of all benches."""
    return subprocess.run([str(program), "--benchmark_list_tests"], check=True,
                          stdout=subprocess.PIPE, text=True).stdout.splitlines()


def list_keys(program):
    """The library's keys, in its order."""
    return [name.removeprefix("key/") for name in list_benches(program)
            if name.startswith("key/")]


def stream_plan(keys, minutes, together):
    """(subject, its keys, minutes, repetitions) of every stream to measure.

    With `together` nearly all of the keys at once are a subject too.
    """
    subjects = [(key, [key]) for key in keys]
    if together:
        subjects.append((ALL_BUT_HUNGRY, [key for key in keys if key != HUNGRY_KEY]))
    plan = []
    for name, wanted in subjects:
        for length in minutes:
            if name != HUNGRY_KEY or length <= HUNGRY_MINUTES:
                plan.append((name, wanted, length,
                             REPETITIONS if length == 1 else GROWTH_REPETITIONS))
    return plan


def run_streams(program, plan, progress=lambda text: None):
    """{subject: {minutes: [what the probe printed, once per repetition]}}.

    Each stream has a process of its own. One of several minutes has another one, beside streams of
    one minute, and both objects are joined. Repetitions take turns, in an order that is shuffled the
    same way every time.
    """
    rounds = [(name, keys, minutes) for name, keys, minutes, repetitions in plan
              for _ in range(repetitions)]
    random.Random(1).shuffle(rounds)
    streams = {name: {} for name, _, _, _ in plan}
    for i, (name, keys, minutes) in enumerate(rounds):
        progress(f"stream {i + 1} of {len(rounds)}: {name}, {minutes} min")
        run = run_probe(program, str(minutes), *keys)
        if minutes > 1:
            run |= run_probe(program, "--growth", str(minutes), *keys)
        streams[name].setdefault(minutes, []).append(run)
    return streams


def run_probe(program, *words):
    """The object that the probe printed."""
    return json.loads(subprocess.run([str(program), *words], check=True, stdout=subprocess.PIPE,
                                     text=True).stdout)
