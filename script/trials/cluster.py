"""A cluster of Dask: a scheduler, workers with their nannies, and the driver, each a process of its own."""

import contextlib
import os
import signal
import subprocess
import sys
import time
from pathlib import Path

from trials import fail, free_ports
from trials.batches import children

#: A run without a fault that takes longer hangs.
RUN_SECONDS = 180


def descendants(pid):
    """All processes below one, the nearest first."""
    found = [pid]
    for each in found:
        found += children(each)
    return found[1:]


def is_tool(pid):
    with contextlib.suppress(OSError):
        return Path(f"/proc/{pid}/comm").read_text().strip() == "qel"
    return False


def is_worker(pid):
    with contextlib.suppress(OSError):
        return b"spawn_main" in Path(f"/proc/{pid}/cmdline").read_bytes()
    return False


class Host:
    """Where a process is started: this machine, unless a subclass says otherwise."""

    address = "127.0.0.1"

    def command(self, words):
        return words


class Cluster:
    """The operator of a cluster: starts its parts, starts again what has ended, and starts the driver.

    `base` has the music and gets the datasets, logs and temporary directories. `hosts` are those of the
    scheduler and the driver, and of each worker.
    """

    def __init__(self, qel, base, hosts=(Host(), Host(), Host())):
        self.qel, self.base, self.hosts = qel, base, hosts
        self.processes, self.restarts, self.settings = {}, {}, {}
        self.source = "music"
        (self.port,) = free_ports(1)
        package = Path(qel).parent.parent / "python"
        paths = [str(package)] if package.is_dir() else []
        self.environment = {**os.environ, "PYTHONPATH": os.pathsep.join([*paths, os.environ.get("PYTHONPATH", "")]),
                            "PYTHONDONTWRITEBYTECODE": "1"}

    @property
    def scheduler(self):
        return f"tcp://{self.hosts[0].address}:{self.port}"

    @property
    def workers(self):
        return [f"worker{number}" for number, _ in enumerate(self.hosts[1:], start=1)]

    def folder(self, name):
        """The temporary directory of a part."""
        path = self.base / f"tmp-{name}"
        path.mkdir(exist_ok=True)
        return path

    def _start(self, name, host, *words):
        folder = self.folder(name)
        log = (self.base / f"{name}.log").open("wb" if name == "driver" else "ab")
        self.processes[name] = subprocess.Popen(
            host.command([sys.executable, "-m", *words]), cwd=self.base, stdin=subprocess.DEVNULL, stdout=log,
            stderr=subprocess.STDOUT, start_new_session=True,
            env={**self.environment, **self.settings, "TMPDIR": str(folder)})

    def start(self, name):
        host = self.hosts[0 if name == "scheduler" else int(name.removeprefix("worker"))]
        if name == "scheduler":
            self._start(name, host, "distributed.cli.dask_scheduler", "--host", host.address, "--port",
                        str(self.port), "--no-dashboard", "--no-show")
        else:
            self._start(name, host, "distributed.cli.dask_worker", self.scheduler, "--host", host.address,
                        "--nthreads", "1", "--no-dashboard", "--name", f"{name}-{time.monotonic_ns()}",
                        "--local-directory", str(self.folder(name)))

    def start_driver(self, out, *options):
        self._start("driver", self.hosts[0], "qelaudio.corpus", self.source, "--out", out, "--scheduler", self.scheduler,
                    "--qel", self.qel, *options)

    def start_all(self):
        for name in ("scheduler", *self.workers):
            self.start(name)

    def mend(self):
        """Starts again every part that has ended, as a service manager does. The driver is not one."""
        for name in ("scheduler", *self.workers):
            if self.processes[name].poll() is not None:
                self.restarts[name] = self.restarts.get(name, 0) + 1
                self.start(name)

    def pids(self, kind):
        """The processes of a kind of target, of all hosts."""
        nannies = [self.processes[name].pid for name in self.workers]
        if kind == "nanny":
            return nannies
        if kind in ("scheduler", "driver"):
            return [self.processes[kind].pid]
        chosen = is_tool if kind == "qel" else is_worker
        return [pid for nanny in nannies for pid in descendants(nanny) if chosen(pid)]

    def driver_says(self):
        """What the last driver has printed."""
        return (self.base / "driver.log").read_text(errors="replace")

    def show_logs(self):
        for log in sorted(self.base.glob("*.log")):
            print(f"--- {log.name}", *log.read_text(errors="replace").splitlines()[-25:], sep="\n", file=sys.stderr)

    def complain(self, reason):
        self.show_logs()
        fail(reason)

    def whole(self, out, *options, seconds=RUN_SECONDS):
        """A run that must succeed, with parts started again if they end. Returns its seconds."""
        started = time.monotonic()
        self.start_driver(out, *options)
        while (status := self.processes["driver"].poll()) is None:
            self.mend()
            if time.monotonic() > started + seconds:
                self.complain(f"{out}: the driver has not ended after {seconds} s")
            time.sleep(0.1)
        if status not in (0, 1) or not self.driver_says().startswith(f"{out}: "):
            self.complain(f"{out}: the driver ended with {status}")
        return time.monotonic() - started

    def stop(self):
        for name in ("driver", *self.workers, "scheduler"):
            process = self.processes.get(name)
            for pid in [] if process is None else [*descendants(process.pid), process.pid]:
                with contextlib.suppress(ProcessLookupError):
                    os.kill(pid, signal.SIGKILL)
            if process is not None:
                process.wait()
