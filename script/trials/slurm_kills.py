"""Kills the parts of a Slurm of two nodes at seeded moments, while it runs the script of `qel batch --slurm`."""

import contextlib
import os
import signal
import subprocess
import time
from pathlib import Path

from trials import fail
from trials.batches import Runs
from trials.datasets import require_equal
from trials.slurm import Slurm, jobs_left, processes_of

KINDS = ("slurmctld", "slurmd", "slurmstepd", "qel")
NODES = ("node1", "node2")
TASKS = 12
PAUSE_SECONDS = 3
#: Jobs that are still there so long after the last kill hang.
HANG_SECONDS = 240


def name_of(pid):
    with contextlib.suppress(OSError):
        return Path(f"/proc/{pid}/comm").read_text().strip()
    return ""


class Disturbed:
    """One dataset, whose script is submitted again until there is a dataset, while Slurm is killed part by part."""

    def __init__(self, slurm, base, out, rng):
        self.slurm, self.base, self.out, self.rng = slurm, base, out, rng
        self.hits, self.submissions, self.restarts = {}, 0, {}

    def _script(self, runs):
        command = runs.command(self.out, 1)
        at = command.index("--shard")
        script = subprocess.run([*command[:at], *command[at + 2:], "--slurm", str(TASKS)], cwd=self.base,
                                capture_output=True, check=True).stdout
        path = self.base / f"{self.out}.sh"
        path.write_bytes(script)
        return path

    def _submit(self, script):
        """False if the controller does not answer."""
        done = subprocess.run(["sh", script], cwd=self.base, env=self.slurm.environment, capture_output=True)
        self.submissions += done.returncode == 0
        return done.returncode == 0

    def _pids(self, kind):
        if kind == "slurmctld":
            return [self.slurm.processes[kind].pid]
        if kind == "slurmd":
            return [self.slurm.processes[node].pid for node in NODES]
        return [pid for node in NODES for pid in processes_of(self.slurm, node) if name_of(pid) == kind]

    def _kill(self, kind):
        pids = self._pids(kind)
        if not pids:
            return False
        sent = self.rng.choice((signal.SIGKILL, signal.SIGTERM))
        with contextlib.suppress(ProcessLookupError):
            os.kill(self.rng.choice(pids), sent)
        told = f"{kind} {sent.name}"
        self.hits[told] = self.hits.get(told, 0) + 1
        return True

    def _mend(self):
        for name in ("slurmctld", *NODES):
            if self.slurm.processes[name].poll() is not None:
                self.restarts[name] = self.restarts.get(name, 0) + 1
                self.slurm.start_controller() if name == "slurmctld" else self.slurm.start_node(name)

    def _is_quiet(self):
        """Whether no job is left. A controller that does not answer has said nothing."""
        said = subprocess.run(["squeue", "-h", "-o", "%i"], env=self.slurm.environment, capture_output=True)
        return said.returncode == 0 and not said.stdout.strip()

    def run(self, runs, kinds):
        script = self._script(runs)
        is_there, look = False, 0.0
        last, due = time.monotonic(), time.monotonic() + self.rng.uniform(0.5, PAUSE_SECONDS)
        while not is_there:
            now = time.monotonic()
            if now >= look and self._is_quiet():
                is_there = (self.base / self.out / "dataset.sqlite").exists()
                if not is_there:
                    self._submit(script)
                look = now + 1
            if kinds and now >= due and self._kill(kinds[0]):
                kinds.pop(0)
                last, due = now, now + self.rng.uniform(0.5, PAUSE_SECONDS)
            if now > last + HANG_SECONDS:
                self.slurm.show_logs()
                fail(f"{self.out}: jobs are left {HANG_SECONDS} s after the last kill: {jobs_left(self.slurm)}")
            self._mend()
            time.sleep(0.05)


def disturb(slurm, runs, base, kinds, rng):
    hits, restarts, submissions, count, started = {}, {}, 0, 0, time.monotonic()
    while kinds:
        count += 1
        run = Disturbed(slurm, base, f"slurm{count}", rng)
        run.run(runs, kinds)
        require_equal(base / "undisturbed", base / run.out, "tasks of Slurm, killed and merged")
        hits = {what: hits.get(what, 0) + run.hits.get(what, 0) for what in hits | run.hits}
        restarts = {name: restarts.get(name, 0) + run.restarts.get(name, 0) for name in restarts | run.restarts}
        submissions += run.submissions
    told = ", ".join(f"{what} {number}" for what, number in sorted(hits.items()))
    again = ", ".join(f"{name} {number}" for name, number in sorted(restarts.items()))
    return [f"Slurm: {count} datasets as without faults; {sum(hits.values())} kills ({told})",
            f"started again: {again or 'nothing'}; submitted again {submissions - count} times; "
            f"{time.monotonic() - started:.0f} s"]


def run(qel, base, moments, rng):
    runs = Runs(qel, base)
    runs.whole("undisturbed", 1)
    (base / "bin").mkdir()
    (base / "bin/qel").symlink_to(qel)
    kinds = [KINDS[number % len(KINDS)] for number in range(moments)]
    rng.shuffle(kinds)
    slurm = Slurm(base)
    try:
        slurm.start_all()
        return disturb(slurm, runs, base, kinds, rng)
    finally:
        slurm.stop()
