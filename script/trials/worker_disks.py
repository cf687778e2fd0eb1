"""Disks of Dask's workers that are full: their local directories, and those for copies of remote files."""

import contextlib
import logging
import os

import fsspec
from moto.server import ThreadedMotoServer

from trials import fail
from trials.cluster import Cluster
from trials.disks import FULL, disk, kib_of
from trials.disturbed import OPTIONS
from trials.tables import require_same_tables

LARGE_KIB = 1 << 20
#: Beside what Dask has written: less than any file of the corpus.
FREE_KIB = 16


@contextlib.contextmanager
def store(folder):
    """An object store on the loopback device with the files of a folder. Yields what fsspec reads of it."""
    logging.getLogger("werkzeug").setLevel(logging.ERROR)
    server = ThreadedMotoServer(ip_address="127.0.0.1", port=0, verbose=False)
    server.start()
    host, port = server.get_host_and_port()
    options = {"key": "key", "secret": "secret", "endpoint_url": f"http://{host}:{port}"}
    fs = fsspec.filesystem("s3", **options)
    fs.mkdir("bucket")
    for path in sorted(folder.rglob("*.wav")):
        name = os.fsencode(path.relative_to(folder)).decode("utf-8", "replace").replace("\n", " ")
        fs.pipe_file(f"bucket/music/{name}", path.read_bytes())
    try:
        yield {f"FSSPEC_S3_{name.upper()}": value for name, value in options.items()}
    finally:
        server.stop()


@contextlib.contextmanager
def filled(disks):
    """Not a byte is free."""
    names = [each.path / "filler" for each in disks]
    for name in names:
        with contextlib.suppress(OSError), name.open("wb", buffering=0) as file:
            while file.write(bytes(65536)):
                pass
    try:
        yield
    finally:
        for name in names:
            name.unlink()


def leave_little(disks):
    """Almost no byte is free."""
    for each in disks:
        facts = os.statvfs(each.path)
        used = (facts.f_blocks - facts.f_bfree) * facts.f_frsize
        each.shrink(used // 1024 + FREE_KIB)


def copies_left(disks):
    return [path.name for each in disks for path in each.path.glob("qelaudio-*")]


def fetch(cluster, disks, base, moments):
    """A run over remote files whose copies do not fit, on disks that are enlarged. Returns how often one was full."""
    step, full = max(4, kib_of(base / "music") // 4 // moments), 0
    leave_little(disks)
    while True:
        cluster.start_driver("remote", *OPTIONS)
        status, lines = cluster.processes["driver"].wait(), cluster.driver_says().splitlines()
        if status in (0, 1) and lines and lines[0].startswith("remote: "):
            return full
        if len(lines) != 1 or not FULL.search(lines[0]) or not any(str(each.path) in lines[0] for each in disks):
            cluster.complain(f"a full disk for copies: {lines}")
        full += 1
        if copies_left(disks):
            cluster.complain(f"a full disk for copies: left over: {copies_left(disks)}")
        if disks[0].kib > LARGE_KIB // 4:
            cluster.complain("a disk for copies is full even if it is large")
        for each in disks:
            each.grow(step)


def run(qel, base, moments, _rng):
    cluster = Cluster(qel, base)
    with contextlib.ExitStack() as stack:
        cluster.settings = stack.enter_context(store(base / "music"))
        disks = [stack.enter_context(disk(base / f"tmp-{name}", LARGE_KIB)) for name in cluster.workers]
        stack.callback(cluster.stop)
        cluster.start_all()
        cluster.whole("undisturbed", *OPTIONS)
        leave_little(disks)
        with filled(disks):
            cluster.whole("full", *OPTIONS)
        require_same_tables(base / "undisturbed", base / "full", "full local directories")
        for each in disks:
            each.grow(LARGE_KIB)
        cluster.source = "s3://bucket/music"
        cluster.whole("remote", *OPTIONS)
        (base / "remote").rename(base / "undisturbed-remote")  # settings have the path of the shards
        full = fetch(cluster, disks, base, moments)
        require_same_tables(base / "undisturbed-remote", base / "remote", "a full disk for copies, enlarged")
        if copies_left(disks) or not full:
            fail(f"copies that are left: {copies_left(disks)}; full {full} times")
    return ["local directories of Dask's workers, full during the run: the tables of a run without faults",
            f"disks for copies of remote files: full {full} times for qelaudio.corpus, then the same tables"]
