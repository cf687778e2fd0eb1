"""Runs of `qel batch`, whole ones and killed ones."""

import contextlib
import os
import signal
import subprocess
import time
from pathlib import Path

from trials import fail


def children(pid):
    """The processes that any thread of a process has begun."""
    found = []
    with contextlib.suppress(OSError):
        for thread in Path(f"/proc/{pid}/task").iterdir():
            found += [int(text) for text in (thread / "children").read_text().split()]
    return found


class Runs:
    """`qel batch` over one folder, from within its parent, so that paths are the same everywhere."""

    def __init__(self, qel, base):
        self.qel, self.base = qel, base

    def command(self, dataset, jobs, shard="1/1"):
        return [self.qel, "batch", "music", "--out", dataset, "--jobs", str(jobs), "--shard", shard,
                "--keys", "spectrum flux properties, beat data"]

    def whole(self, dataset, jobs, shard="1/1"):
        started = time.monotonic()
        run = subprocess.run(self.command(dataset, jobs, shard), cwd=self.base, capture_output=True)
        if run.returncode not in (0, 1) or run.stderr:
            fail(f"a run without faults ended with {run.returncode}: {run.stderr}")
        return time.monotonic() - started

    def killed(self, dataset, jobs, delay, rng, shard="1/1"):
        """Starts a run, and kills a part of it after `delay`. Returns who was hit; "" if it was over."""
        run = subprocess.Popen(self.command(dataset, jobs, shard), cwd=self.base,
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        time.sleep(delay)
        if run.poll() is not None:
            return ""
        workers = children(run.pid)
        target = rng.choice(["driver", "driver", "worker", "driver, kindly"])
        try:
            if target == "worker" and workers:
                os.kill(rng.choice(workers), signal.SIGKILL)
                time.sleep(delay * rng.random())
            run.send_signal(signal.SIGTERM if target == "driver, kindly" else signal.SIGKILL)
        except ProcessLookupError:
            pass
        run.wait()
        return target
