"""Kills the parts of a cluster of Dask at seeded moments."""

import contextlib
import os
import signal
from functools import partial

from trials.cluster import Cluster
from trials.disturbed import disturb

KINDS = ("worker", "nanny", "qel", "scheduler", "driver")


def kill(cluster, kind, rng):
    """Hits one process of a kind, if there is one."""
    pids = cluster.pids(kind)
    if not pids:
        return None
    sent = rng.choice((signal.SIGKILL, signal.SIGTERM))
    with contextlib.suppress(ProcessLookupError):
        os.kill(rng.choice(pids), sent)
    return f"{kind} {sent.name}", 0


def run(qel, base, moments, rng):
    cluster = Cluster(qel, base)
    kinds = [KINDS[number % len(KINDS)] for number in range(moments)]
    rng.shuffle(kinds)
    try:
        cluster.start_all()
        return disturb(cluster, [partial(kill, cluster, kind, rng) for kind in kinds], rng)
    finally:
        cluster.stop()
