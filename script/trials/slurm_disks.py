"""A disk of Slurm's nodes that is full: that of the dataset and of temporary files."""

import os
import subprocess
import time

from trials import fail
from trials.batches import Runs
from trials.datasets import require_equal
from trials.disks import FULL, disk, kib_of
from trials.slurm import Slurm, jobs_left

TASKS = 4
#: The shards take as much as the dataset beside them, at most.
TIMES = 2
JOBS_SECONDS = 400
#: Slurm lets a task wait before each of them. One is enough here: the disk is enlarged only after all jobs have ended.
RESTARTS = b"failures=3 "


def script_of(runs, base):
    command = runs.command("small/dataset", 1)
    at = command.index("--shard")
    script = subprocess.run([*command[:at], *command[at + 2:], "--slurm", str(TASKS)], cwd=base, capture_output=True,
                            check=True).stdout
    if script.count(RESTARTS) != 1:
        fail("the script does not say how often a task is begun again")
    return script.replace(RESTARTS, b"failures=1 ")


def complaints(base):
    """What tasks have printed, which is not on the small disk."""
    return "".join(path.read_text(errors="replace") for path in base.glob("slurm-*.out"))


def fill(slurm, script, base, small, step):
    """Submits a script again on a disk that is enlarged, until there is a dataset. Returns how often it was full."""
    full = 0
    while True:
        slurm.submit(script, base)
        slurm.wait_for("the end of all jobs", lambda: not jobs_left(slurm), JOBS_SECONDS)
        if (base / "small/dataset/dataset.sqlite").exists():
            return full
        if not FULL.search(complaints(base)):
            slurm.show_logs()
            fail(f"a full disk of {small.kib} KiB: no task says so: {complaints(base)}")
        for path in base.glob("slurm-*.out"):
            path.unlink()
        full += 1
        small.grow(step)


def run(qel, base, moments, _rng):
    runs = Runs(qel, base)
    runs.whole("undisturbed", 1)
    (base / "bin").mkdir()
    (base / "bin/qel").symlink_to(qel)
    need = TIMES * kib_of(base / "undisturbed")
    began = time.monotonic()
    with disk(base / "small", 16) as small:
        (base / "small/tmp").mkdir()
        slurm = Slurm(base)
        slurm.environment["TMPDIR"] = os.fspath(base / "small/tmp")
        try:
            slurm.start_all()
            full = fill(slurm, script_of(runs, base), base, small, max(4, need // moments))
        finally:
            slurm.stop()
        require_equal(base / "undisturbed", base / "small/dataset", "a full disk under Slurm, enlarged")
        left = os.listdir(base / "small/tmp")
    if left or not full:
        fail(f"temporary files that are left: {left}; full {full} times")
    return [f"Slurm: the disk of the nodes full {full} times, then the rows of a run without faults; "
            f"{time.monotonic() - began:.0f} s"]
