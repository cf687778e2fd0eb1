"""What the trials of `qel batch` share: script/chaos, script/slurm-check, script/corpus-check.

script/corpus-check needs numpy, pyarrow and the Python package, the others the standard library alone.
"""

import socket
import sys
from pathlib import Path


def fail(reason):
    """Ends the program with one line, which begins with its name."""
    sys.exit(f"{Path(sys.argv[0]).name}: {reason}")


def free_ports(count):
    """Ports of this machine that nobody listens at."""
    sockets = [socket.socket() for _ in range(count)]
    for each in sockets:
        each.bind(("127.0.0.1", 0))
    ports = [each.getsockname()[1] for each in sockets]
    for each in sockets:
        each.close()
    return ports
