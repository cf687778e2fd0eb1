"""Kills the parts of a cluster of Dask at seeded moments, and compares the datasets."""

import contextlib
import os
import signal
import time

from trials.cluster import Cluster
from trials.tables import require_same_tables

KINDS = ("worker", "nanny", "qel", "scheduler", "driver")
OPTIONS = ("--shards", "16", "--keys", "spectrum flux properties, beat data")
#: A driver that has neither ended nor failed so long after the last kill hangs.
HANG_SECONDS = 120
#: The next kill comes after a time up to this. A run without faults takes about 10 s.
PAUSE_SECONDS = 5


class Disturbed:
    """One dataset, whose run is begun again until it succeeds, while its parts are killed."""

    def __init__(self, cluster, out, rng):
        self.cluster, self.out, self.rng = cluster, out, rng
        self.hits, self.drivers, self.reasons = {}, 0, []

    def _kill(self, kind):
        """Hits one process of a kind. False if there is none, such as no tool between two shards."""
        pids = self.cluster.pids(kind)
        sent = self.rng.choice((signal.SIGKILL, signal.SIGTERM))
        if not pids:
            return False
        with contextlib.suppress(ProcessLookupError):
            os.kill(self.rng.choice(pids), sent)
        told = f"{kind} {sent.name}"
        self.hits[told] = self.hits.get(told, 0) + 1
        return True

    def _begin(self):
        self.drivers += 1
        self.cluster.start_driver(self.out, *OPTIONS)

    def run(self, kinds):
        """Kills one part of each of these kinds, then lets the run end. Kinds that are left over remain in the list."""
        self._begin()
        last, due = time.monotonic(), time.monotonic() + self.rng.uniform(0.5, PAUSE_SECONDS)
        while (status := self.cluster.processes["driver"].poll()) is None or not self._is_success(status):
            now = time.monotonic()
            if status is not None:
                self._begin()
            if kinds and now >= due and self._kill(kinds[0]):
                kinds.pop(0)
                last, due = now, now + self.rng.uniform(0.5, PAUSE_SECONDS)
            if now > last + HANG_SECONDS:
                self.cluster.complain(f"{self.out}: the driver has not ended {HANG_SECONDS} s after the last kill")
            self.cluster.mend()
            time.sleep(0.02)

    def _is_success(self, status):
        """A driver succeeds with one line for the dataset, is killed, or fails with one line that says why."""
        lines = self.cluster.driver_says().splitlines()
        if status in (0, 1) and lines and lines[0].startswith(f"{self.out}: "):
            return True
        if status >= 0 and (len(lines) != 1 or not lines[0].startswith("qelaudio.corpus: ")):
            self.cluster.complain(f"{self.out}: the driver has ended with {status} and without a line that says why")
        self.reasons += lines if status >= 0 else []
        return False


def disturb(cluster, moments, rng):
    """Returns what to say of so many kills."""
    seconds = cluster.whole("undisturbed", *OPTIONS)
    kinds = [KINDS[number % len(KINDS)] for number in range(moments)]
    rng.shuffle(kinds)
    hits, reasons, drivers, started, runs = {}, set(), 0, time.monotonic(), 0
    while kinds:
        runs += 1
        run = Disturbed(cluster, f"disturbed{runs}", rng)
        run.run(kinds)
        time.sleep(1)  # for a tool whose worker was killed: it ends within a second
        require_same_tables(cluster.base / "undisturbed", cluster.base / run.out, "killed and continued")
        hits = {kind: hits.get(kind, 0) + run.hits.get(kind, 0) for kind in hits | run.hits}
        reasons |= set(run.reasons)
        drivers += run.drivers
    told = ", ".join(f"{kind} {count}" for kind, count in sorted(hits.items()))
    again = sum(cluster.restarts.values())
    return [f"Dask: {runs} datasets, {sum(hits.values())} kills ({told})",
            f"{drivers - runs} drivers and {again} other parts started again; {time.monotonic() - started:.0f} s, "
            f"{seconds:.0f} s for one dataset without kills", *(f"a driver said: {reason}" for reason in sorted(reasons))]


def run(qel, base, moments, rng):
    cluster = Cluster(qel, base)
    try:
        cluster.start_all()
        return disturb(cluster, moments, rng)
    finally:
        cluster.stop()
