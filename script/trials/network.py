"""Three hosts in network namespaces, whose links are cut and slowed at seeded moments.

Needs root, iproute2, and a kernel with bridges, veth and the queue tbf.
"""

import contextlib
import os
import subprocess
import threading
from functools import partial

from trials.cluster import Cluster, Host
from trials.disturbed import disturb

#: Those of Dask are 30 s, 30 s and 5 min: too long for trials.
TIMEOUTS = {"DASK_DISTRIBUTED__COMM__TIMEOUTS__CONNECT": "6s", "DASK_DISTRIBUTED__COMM__TIMEOUTS__TCP": "12s",
            "DASK_DISTRIBUTED__SCHEDULER__WORKER_TTL": "15s"}
#: Seconds of a cut: below and above the time after which a connection counts as lost.
SHORTER_SECONDS = (1, 4)
LONGER_SECONDS = (18, 25)
#: Bits per second of a slowed link, and the bytes that wait for it: what comes beyond them is lost.
SLOW_KBIT = (30, 300)
WAITING_BYTES = 6000


def ip(*words, check=True):
    subprocess.run(["ip", *map(str, words)], check=check, stdout=subprocess.DEVNULL)


class NetworkHost(Host):
    """A namespace with one link, to a bridge that all hosts share."""

    def __init__(self, number, bridge):
        self.name, self.link = f"qel{os.getpid()}-{number}", f"qel{os.getpid()}h{number}"
        self.address = f"10.213.77.{number}"
        self.bridge = bridge

    def open(self):
        ip("netns", "add", self.name)
        ip("link", "add", self.link, "type", "veth", "peer", "name", "eth0", "netns", self.name)
        ip("link", "set", self.link, "master", self.bridge, "up")
        self._inside("addr", "add", f"{self.address}/24", "dev", "eth0")
        self._inside("link", "set", "eth0", "up")
        self._inside("link", "set", "lo", "up")

    def _inside(self, *words):
        ip("-n", self.name, *words)

    def command(self, words):
        return ["ip", "netns", "exec", self.name, *words]

    def cut(self):
        ip("link", "set", self.link, "down")

    def join(self):
        ip("link", "set", self.link, "up")

    def slow(self, kbit):
        queue = ["root", "tbf", "rate", f"{kbit}kbit", "burst", "3200", "limit", str(WAITING_BYTES)]
        subprocess.run(["tc", "qdisc", "replace", "dev", self.link, *queue], check=True)
        subprocess.run(["tc", "-n", self.name, "qdisc", "replace", "dev", "eth0", *queue], check=True)

    def hasten(self):
        subprocess.run(["tc", "qdisc", "del", "dev", self.link, "root"], check=True)
        subprocess.run(["tc", "-n", self.name, "qdisc", "del", "dev", "eth0", "root"], check=True)

    def close(self):
        ip("netns", "del", self.name, check=False)


@contextlib.contextmanager
def three_hosts():
    bridge = f"qel{os.getpid()}br"
    hosts = [NetworkHost(number, bridge) for number in (1, 2, 3)]
    ip("link", "add", bridge, "type", "bridge")
    try:
        ip("link", "set", bridge, "up")
        for host in hosts:
            host.open()
        yield hosts
    finally:
        for host in hosts:
            host.close()
        ip("link", "del", bridge)


def disturb_link(host, part, kind, rng):
    """Cuts or slows a link, and mends it after a while."""
    seconds = rng.uniform(*(LONGER_SECONDS if kind == "cut longer" else SHORTER_SECONDS))
    if kind == "slowed":
        host.slow(rng.randrange(*SLOW_KBIT))
        seconds, mend = 3 * seconds, host.hasten
    else:
        host.cut()
        mend = host.join
    threading.Timer(seconds, mend).start()
    return f"{part} {kind}", seconds


def run(qel, base, moments, rng):
    with three_hosts() as hosts:
        cluster = Cluster(qel, base, hosts)
        cluster.settings = TIMEOUTS
        places = [*zip(hosts, ("scheduler and driver", "worker", "worker"))]
        faults = [(*places[number % 3], ("cut shorter", "cut longer", "slowed")[number // 3 % 3])
                  for number in range(moments)]
        rng.shuffle(faults)
        try:
            cluster.start_all()
            return disturb(cluster, [partial(disturb_link, *fault, rng) for fault in faults], rng)
        finally:
            cluster.stop()
