"""A Slurm of one controller and two nodes on this machine."""

import contextlib
import os
import shutil
import socket
import subprocess
import sys
import time
from pathlib import Path

from trials import fail, free_ports

CONFIGURATION = """
ClusterName=check
SlurmctldHost={host}
SlurmUser=root
AuthType=auth/munge
AuthInfo=socket={base}/munge.socket,cred_expire=10
SlurmctldPort={port}
SlurmctldPidFile={base}/slurmctld.pid
SlurmctldLogFile={base}/slurmctld.log
SlurmdPidFile={base}/%n.pid
SlurmdLogFile={base}/%n.log
SlurmdSpoolDir={base}/%n.spool
StateSaveLocation={base}/state
ProctrackType=proctrack/pgid
TaskPlugin=task/none
SelectType=select/cons_tres
MpiDefault=none
JobRequeue=1
SchedulerParameters=sched_interval=2
ReturnToService=2
SlurmdTimeout=10
SlurmctldTimeout=10
MinJobAge=300
NodeName=node1 NodeHostname={host} NodeAddr=127.0.0.1 Port={port1} CPUs=1
NodeName=node2 NodeHostname={host} NodeAddr=127.0.0.1 Port={port2} CPUs=1
PartitionName=all Nodes=ALL Default=YES MaxTime=10 State=UP
"""
WAIT_SECONDS = 240
PROGRAMS = ("slurmctld", "slurmd", "munged")


def what_is_missing():
    """Why there can be no Slurm here; empty if there can."""
    missing = [name for name in PROGRAMS if not shutil.which(name, path=f"{os.environ['PATH']}:/usr/sbin")]
    if missing:
        return f"needs {', '.join(missing)}; script/bootstrap --slurm"
    return "" if os.geteuid() == 0 else "needs root"


class Slurm:
    """A controller and two nodes."""

    def __init__(self, base):
        self.base = base
        self.processes = {}
        port, port1, port2 = free_ports(3)
        values = {"host": socket.gethostname(), "base": base, "port": port, "port1": port1, "port2": port2}
        (base / "slurm.conf").write_text(CONFIGURATION.format(**values))
        (base / "state").mkdir()
        (base / "munge.key").write_bytes(os.urandom(128))
        (base / "munge.key").chmod(0o400)
        self.environment = {**os.environ, "SLURM_CONF": str(base / "slurm.conf"),
                            "PATH": f"{base}/bin:{os.environ['PATH']}:/usr/sbin"}

    def start(self, name, *command):
        with (self.base / f"{name}.out").open("ab") as log:
            self.processes[name] = subprocess.Popen(command, env=self.environment, stdout=log, stderr=log,
                                                    start_new_session=True)

    def start_controller(self):
        self.start("slurmctld", "slurmctld", "-D", "-i")

    def start_node(self, name):
        (self.base / f"{name}.spool").mkdir(exist_ok=True)
        self.start(name, "slurmd", "-D", "-N", name)

    def start_all(self):
        self.start("munged", "munged", "--foreground", "--force", f"--socket={self.base}/munge.socket",
                   f"--key-file={self.base}/munge.key", f"--pid-file={self.base}/munge.pid",
                   f"--seed-file={self.base}/munge.seed", f"--log-file={self.base}/munge.log")
        self.wait_for("munge", lambda: (self.base / "munge.socket").exists())
        self.start_controller()
        self.start_node("node1")
        self.start_node("node2")
        self.wait_for("two idle nodes", lambda: self.say("sinfo", "-h", "-N", "-o", "%t").split() == ["idle"] * 2)

    def say(self, *command):
        return subprocess.run(command, env=self.environment, capture_output=True, text=True).stdout

    def submit(self, script, directory, *options):
        """Submits what `qel batch --slurm` has printed."""
        (self.base / "job.sh").write_bytes(script)
        done = subprocess.run(["sh", str(self.base / "job.sh"), *options], cwd=directory, env=self.environment,
                              capture_output=True, text=True)
        if done.returncode:
            fail(f"not submitted: {done.stderr}")

    def wait_for(self, what, is_there, seconds=WAIT_SECONDS):
        end = time.monotonic() + seconds
        while not is_there():
            if time.monotonic() > end:
                self.show_logs()
                fail(f"waited in vain for {what}")
            time.sleep(0.2)

    def show_logs(self):
        for log in sorted(self.base.glob("*.log")) + sorted(self.base.glob("*.out")):
            print(f"--- {log.name}", *log.read_text(errors="replace").splitlines()[-15:], sep="\n", file=sys.stderr)

    def stop(self):
        for process in reversed(list(self.processes.values())):
            with contextlib.suppress(ProcessLookupError):
                process.terminate()
            try:
                process.wait(10)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()


def jobs_left(slurm):
    return [line for line in slurm.say("squeue", "-h", "-o", "%i %T").splitlines() if line]


def processes_of(slurm, node):
    """What runs on a node, the programs of Slurm that watch over it first."""
    watching, others = set(), set()
    for process in Path("/proc").glob("[0-9]*"):
        with contextlib.suppress(OSError):
            variables = (process / "environ").read_bytes().split(b"\0")
            if f"SLURMD_NODENAME={node}".encode() in variables and f"SLURM_CONF={slurm.base}/slurm.conf".encode() in variables:
                parent = (process / "stat").read_text().rpartition(")")[2].split()[1]
                is_watched = Path(f"/proc/{parent}/comm").read_text().strip() == "slurmstepd"
                watching |= {int(parent)} if is_watched else set()
                others.add(int(process.name))
    return [*watching, *others]
