"""Kills runs of `qel batch` at seeded moments: driver or worker, SIGKILL or SIGTERM."""

import subprocess

from trials import fail
from trials.batches import Runs
from trials.datasets import require_equal


def disturb(runs, name, moments, length, rng, shard="1/1"):
    """Kills a dataset's runs at so many moments, then lets one through. Returns who was hit how often."""
    hits = {}
    for _ in range(moments):
        who = runs.killed(name, rng.randrange(1, 4), rng.random() * length, rng, shard)
        hits[who] = hits.get(who, 0) + 1
    runs.whole(name, 2, shard)
    return hits


def run(qel, base, moments, rng):
    """Shards, killed likewise and merged, must have the rows, too."""
    runs = Runs(qel, base)
    length = runs.whole("undisturbed", 1)
    hits = disturb(runs, "disturbed", moments, length / max(moments / 4, 1), rng)
    require_equal(base / "undisturbed", base / "disturbed", "killed and continued")
    for index in (1, 2, 3):
        disturb(runs, f"shard{index}", max(moments // 6, 1), length / 4, rng, f"{index}/3")
    merged = subprocess.run([qel, "merge", "shard3", "shard1", "shard2", "--out", "merged"], cwd=base,
                            capture_output=True)
    if merged.returncode not in (0, 1):
        fail(f"merge: {merged.stderr}")
    require_equal(base / "undisturbed", base / "merged", "shards, killed and merged")
    told = ", ".join(f"{who or 'too late'} {count}" for who, count in sorted(hits.items()))
    return [f"qel batch: {moments} moments ({told}): the rows of a run without faults"]
