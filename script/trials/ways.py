"""Ways to run a corpus: alone, by Dask, by Slurm."""

import contextlib
import json
import os
import shlex
import shutil
import subprocess
import sys
import time
from dataclasses import dataclass
from pathlib import Path

import qelaudio

from trials import fail
from trials.memory import MemoryLog
from trials.slurm import Slurm, jobs_left

KEYS = ("temporal properties", "mel frequency cepstral coefficients", "pitch class profile", "dominant key",
        "onset data", "global number of beats per bar", "audio range")
FILES_PER_TASK = 500  # of Slurm
LEAST_TASKS = 6
START_SECONDS = 60
SLURM_SECONDS = 2 * 3600
#: Of the processes of Dask, which run in other directories.
ENVIRONMENT = {**os.environ, "PYTHONPATH": os.path.abspath(Path(qelaudio.__file__).parents[1])}


@dataclass(frozen=True)
class CorpusRun:
    """A corpus, how it is analyzed, and where everything is put.

    Attributes: qel, the tool; base, the directory for all; jobs, processes at once; seconds and memory_mib, the
    limits for one file; keys; loop_step, 2 if the plain loop takes every second file alone.
    """

    qel: str
    base: Path
    jobs: int = 2
    seconds: int = 20
    memory_mib: int = 400
    keys: tuple = KEYS
    loop_step: int = 1

    @property
    def music(self):
        return self.base / "music"

    @property
    def loop(self):
        return self.base / "loop"

    def analyze_command(self):
        return [self.qel, "analyze", "--quiet", "--mix", "keep", "--keys", ",".join(self.keys)]

    def read_command(self):
        return [self.qel, "read", "--quiet", "--format", "json"]

    def limited(self):
        """What runs a command with the limit of memory."""
        return ["sh", "-c", f'ulimit -d {self.memory_mib << 10}; exec "$@"', "sh"]

    def options(self):
        keys = ["--keys", ",".join(self.keys), "--mix", "keep"] if self.keys else []
        return [".", "--match", "*", "--hash", "--time-limit", str(self.seconds),
                "--memory-limit", str(self.memory_mib), *keys]


def make_tool(base, qel):
    """The tool with the files that cost their process: bin/qel in the directory."""
    (base / "bin").mkdir(exist_ok=True)
    library, wrapper = base / "faults.so", base / "bin/qel"
    source = Path(__file__).resolve().parents[2] / "tests/batch/FaultyFiles.c"
    unfinished = base / "faults.new"  # another run may use what is there
    subprocess.run(["cc", "-shared", "-fPIC", "-O1", "-o", str(unfinished), str(source)], check=True)
    unfinished.rename(library)
    wrapper.write_text(f"#!/bin/sh\nLD_PRELOAD={shlex.quote(str(library))} exec {shlex.quote(qel)} \"$@\"\n")
    wrapper.chmod(0o755)
    return str(wrapper)


def _require(what, process, statuses, complaint):
    if process.returncode not in statuses or complaint:
        fail(f"{what} ended with {process.returncode}: {complaint.decode(errors='replace')}")


def run_batch(run, dataset):
    """`qel batch` on this machine. Returns what was seen of its memory."""
    command = [run.qel, "batch", *run.options(), "--out", str(dataset), "--jobs", str(run.jobs)]
    process = subprocess.Popen(command, cwd=run.music, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    with MemoryLog({"driver": process.pid}) as memory:
        _, complaint = process.communicate()
    _require("qel batch", process, (0, 1), complaint)
    return memory.text()


@contextlib.contextmanager
def dask_cluster(base, workers):
    """A scheduler and so many workers, each in a process. Yields the address and all processes by name."""
    file = base / "scheduler.json"
    file.unlink(missing_ok=True)
    processes = {}

    def start(name, *arguments):
        with (base / f"{name}.out").open("wb") as log:
            processes[name] = subprocess.Popen([sys.executable, "-m", *arguments, "--scheduler-file", str(file)],
                                               env=ENVIRONMENT, stdout=log, stderr=log)

    try:
        start("scheduler", "distributed.cli.dask_scheduler", "--host", "127.0.0.1", "--port", "0", "--no-dashboard")
        end = time.monotonic() + START_SECONDS
        while not file.exists():
            if time.monotonic() > end or processes["scheduler"].poll() is not None:
                fail("the scheduler of Dask does not start")
            time.sleep(0.1)
        for number in range(1, workers + 1):
            start(f"worker {number}", "distributed.cli.dask_worker", "--nthreads", "1", "--no-nanny", "--no-dashboard",
                  "--local-directory", str(base / "dask-local"))
        yield json.loads(file.read_text())["address"], processes
    finally:
        for process in reversed(list(processes.values())):
            process.terminate()
            process.wait()
        file.unlink(missing_ok=True)


def corpus_command(out, address, qel, *options):
    """`qelaudio.corpus` by a scheduler. Options have the sources."""
    return [sys.executable, "-m", "qelaudio.corpus", *options, "--out", str(out), "--scheduler", address, "--work",
            f"{out}.work", "--qel", qel]


def run_dask(run, out):
    """`qelaudio.corpus` with two workers. Returns what was seen of the memory."""
    with dask_cluster(run.base, run.jobs) as (address, processes):
        command = corpus_command(out, address, run.qel, *run.options())
        process = subprocess.Popen(command, cwd=run.music, env=ENVIRONMENT, stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE)
        pids = {"driver": process.pid, **{name: each.pid for name, each in processes.items()}}
        with MemoryLog(pids) as memory:
            _, complaint = process.communicate()
        _require("qelaudio.corpus", process, (0, 1), complaint)
    return memory.text()


def run_slurm(run, dataset, count):
    """`qel batch --slurm` on two nodes."""
    tasks = max(LEAST_TASKS, count // FILES_PER_TASK)
    command = [run.qel, "batch", *run.options(), "--out", str(dataset), "--jobs", "1", "--slurm", str(tasks)]
    script = subprocess.run(command, cwd=run.music, capture_output=True, check=True).stdout
    place = run.base / "slurm-state"
    shutil.rmtree(place, ignore_errors=True)  # of a run that was ended; its shards are continued
    place.mkdir()
    (place / "bin").symlink_to(run.base / "bin")
    slurm = Slurm(place)
    try:
        slurm.start_all()
        slurm.submit(script, run.music, f"--output={place}/%x-%A-%a.out")  # not into the corpus
        slurm.wait_for("the end of all jobs", lambda: not jobs_left(slurm), SLURM_SECONDS)
        if not (dataset / "dataset.sqlite").exists():
            slurm.show_logs()
            fail("there is no merged dataset")
    finally:
        slurm.stop()
    return f"{tasks} tasks"
