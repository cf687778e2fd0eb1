"""Datasets whose runs by Dask are disturbed until the faults are used up."""

import time

from trials.tables import require_same_tables

OPTIONS = ("--shards", "16", "--keys", "spectrum flux properties, beat data")
#: A driver that has neither ended nor failed so long after the last fault hangs.
HANG_SECONDS = 120
#: The next fault comes after a time up to this. A run without faults takes about 10 s.
PAUSE_SECONDS = 5


class Disturbed:
    """One dataset, whose run is begun again until it succeeds, while it is disturbed."""

    def __init__(self, cluster, out, rng):
        self.cluster, self.out, self.rng = cluster, out, rng
        self.hits, self.drivers, self.reasons = {}, 0, []

    def _begin(self):
        self.drivers += 1
        self.cluster.start_driver(self.out, *OPTIONS)

    def run(self, faults):
        """Lets the run end. Faults that have not come to their turn by then remain in the list.

        A fault is a function. It returns what was done and for how many seconds, or None if there was nothing to do
        it to, such as no tool between two shards: then it is tried again.
        """
        self._begin()
        quiet, due = time.monotonic(), time.monotonic() + self.rng.uniform(0.5, PAUSE_SECONDS)
        while (status := self.cluster.processes["driver"].poll()) is None or not self._is_success(status):
            now = time.monotonic()
            if status is not None:
                self._begin()
            if faults and now >= due and (done := faults[0]()):
                faults.pop(0)
                what, seconds = done
                self.hits[what] = self.hits.get(what, 0) + 1
                quiet = now + seconds
                due = quiet + self.rng.uniform(0.5, PAUSE_SECONDS)
            if now > quiet + HANG_SECONDS:
                self.cluster.complain(f"{self.out}: the driver has not ended {HANG_SECONDS} s after the last fault")
            self.cluster.mend()
            time.sleep(0.02)
        time.sleep(max(0, quiet - time.monotonic()))

    def _is_success(self, status):
        """A driver succeeds with one line for the dataset, is killed, or fails with one line that says why."""
        lines = self.cluster.driver_says().splitlines()
        if status in (0, 1) and lines and lines[0].startswith(f"{self.out}: "):
            return True
        if status >= 0 and (len(lines) != 1 or not lines[0].startswith("qelaudio.corpus: ")):
            self.cluster.complain(f"{self.out}: the driver has ended with {status} and without a line that says why")
        self.reasons += lines if status >= 0 else []
        return False


def disturb(cluster, faults, rng):
    """Disturbs as many datasets as it takes for all faults, and compares each. Returns what to say of it."""
    seconds = cluster.whole("undisturbed", *OPTIONS)
    hits, reasons, drivers, started, runs = {}, set(), 0, time.monotonic(), 0
    while faults:
        runs += 1
        run = Disturbed(cluster, f"disturbed{runs}", rng)
        run.run(faults)
        time.sleep(1)  # for a tool whose worker was killed: it ends within a second
        require_same_tables(cluster.base / "undisturbed", cluster.base / run.out, "disturbed and continued")
        hits = {what: hits.get(what, 0) + run.hits.get(what, 0) for what in hits | run.hits}
        reasons |= set(run.reasons)
        drivers += run.drivers
    told = ", ".join(f"{what} {count}" for what, count in sorted(hits.items()))
    again = ", ".join(f"{name} {count}" for name, count in sorted(cluster.restarts.items()))
    return [f"Dask: {runs} datasets as without faults; {sum(hits.values())} faults ({told})",
            f"started again: driver {drivers - runs}, {again or 'nothing else'}; {time.monotonic() - started:.0f} s; "
            f"{seconds:.0f} s for one dataset without faults", *(f"a driver said: {reason}" for reason in sorted(reasons))]
