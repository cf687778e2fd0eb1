"""The memory of processes over the time of a run."""

import threading
from pathlib import Path

INTERVAL_SECONDS = 0.5
MEBI = 1 << 20


def resident_bytes(pid):
    """Bytes in memory; None for a process that has gone."""
    try:
        lines = Path(f"/proc/{pid}/status").read_text().splitlines()
    except OSError:
        return None
    found = [line.split()[1] for line in lines if line.startswith("VmRSS:")]
    return int(found[0]) * 1024 if found else None


class MemoryLog:
    """Looks at processes, by their names here, as long as it is open."""

    def __init__(self, pids):
        self._pids, self._end = pids, threading.Event()
        self.series = {name: [] for name in pids}
        self._thread = threading.Thread(target=self._look, daemon=True)

    def __enter__(self):
        self._thread.start()
        return self

    def __exit__(self, *_):
        self._end.set()
        self._thread.join()

    def _look(self):
        while not self._end.wait(INTERVAL_SECONDS):
            for name, pid in self._pids.items():
                size = resident_bytes(pid)
                if size is not None:
                    self.series[name].append(size)

    def text(self):
        """For each process what it had after a tenth of the time, after half of it, at the end, and at most."""
        told = []
        for name, sizes in self.series.items():
            if sizes:
                at = [sizes[len(sizes) // 10], sizes[len(sizes) // 2], sizes[-1], max(sizes)]
                told.append(f"{name} " + ", ".join(f"{size / MEBI:.1f}" for size in at) + " MiB")
        return "; ".join(told)
