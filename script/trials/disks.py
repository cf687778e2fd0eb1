"""Disks that fill up during a run: a small tmpfs that is enlarged until the run ends."""

import contextlib
import re
import subprocess
import time

from trials import fail
from trials.batches import Runs
from trials.cluster import Cluster
from trials.disturbed import OPTIONS
from trials.datasets import require_equal
from trials.tables import require_same_tables

FULL = re.compile("No space left on device|database or disk is full")

#: So much more than the dataset takes is more than enough.
MOST_TIMES = 3


class Disk:
    """A small disk at a directory."""

    def __init__(self, path, kib):
        self.path, self.kib = path, kib
        path.mkdir()
        self._mount(f"size={kib}k")

    def _mount(self, *options):
        subprocess.run(["mount", "-t", "tmpfs", "-o", ",".join(options), "tmpfs", self.path], check=True)

    def grow(self, kib):
        self.kib += kib
        self._mount("remount", f"size={self.kib}k")

    def shrink(self, kib):
        """To a size that holds what is there."""
        self.grow(kib - self.kib)

    def remove(self):
        subprocess.run(["umount", "--lazy", self.path], check=True)


@contextlib.contextmanager
def disk(path, kib):
    made = Disk(path, kib)
    try:
        yield made
    finally:
        made.remove()


def kib_of(folder):
    """What a disk needs for a directory, in the pages of a tmpfs."""
    return sum(max(4, -(-path.stat().st_size // 4096) * 4) for path in folder.rglob("*"))


def until_done(disk, need, moments, attempt, what):
    """Enlarges a disk in so many steps until an attempt succeeds. Returns how often it was full.

    `attempt` returns the lines of a complaint, none for success.
    """
    full = 0
    while lines := attempt():
        if len(lines) != 1 or not FULL.search(lines[0]):
            fail(f"{what}, {disk.kib} KiB: {lines}")
        if str(disk.path.name) not in lines[0]:
            fail(f"{what}, {disk.kib} KiB: the line does not say which disk: {lines}")
        full += 1
        if disk.kib > MOST_TIMES * need:
            fail(f"{what}: is full even with {disk.kib} KiB")
        disk.grow(max(4, need // moments))
    return full


def complaint_of(command, base):
    done = subprocess.run(command, cwd=base, capture_output=True, text=True)
    if done.returncode not in (0, 1):
        fail(f"{command}: status {done.returncode}: {done.stderr}")
    return done.stderr.splitlines()


def batch_disks(runs, base, moments):
    """Dataset of `qel batch`, and of `qel merge` from another disk."""
    need = kib_of(base / "undisturbed")
    with disk(base / "small", 4) as small:
        full = until_done(small, need, moments, lambda: complaint_of(runs.command("small/dataset", 2), base), "qel batch")
        require_equal(base / "undisturbed", base / "small/dataset", "a full disk, enlarged")
    for index in (1, 2, 3):
        runs.whole(f"shard{index}", 2, f"{index}/3")
    merge = [runs.qel, "merge", "shard1", "shard2", "shard3", "--out", "other/merged"]
    with disk(base / "other", 4) as other:
        merges = until_done(other, need, moments, lambda: complaint_of(merge, base), "qel merge")
        require_equal(base / "undisturbed", base / "other/merged", "a full disk, enlarged and merged")
    return [f"disks: full {full} times for qel batch, {merges} times for qel merge"]


def cluster_disks(cluster, base, moments):
    """Tables, shards and merged dataset of a corpus."""
    cluster.whole("undisturbed-tables", *OPTIONS)
    need = kib_of(base / "undisturbed-tables")
    with disk(base / "little", 4) as little:
        def attempt():
            cluster.start_driver("little/out", *OPTIONS)
            status = cluster.processes["driver"].wait()
            lines = cluster.driver_says().splitlines()
            return [] if status in (0, 1) and lines and lines[0].startswith("little/out: ") else lines

        full = until_done(little, need, moments, attempt, "qelaudio.corpus")
        time.sleep(1)
        require_same_tables(base / "undisturbed-tables", base / "little/out", "a full disk, enlarged, by Dask")
    return [f"disks: full {full} times for qelaudio.corpus"]


def run(qel, base, moments, _rng):
    runs = Runs(qel, base)
    runs.whole("undisturbed", 2)
    told = batch_disks(runs, base, moments)
    cluster = Cluster(qel, base)
    try:
        cluster.start_all()
        return told + cluster_disks(cluster, base, moments)
    finally:
        cluster.stop()
