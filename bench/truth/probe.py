"""Asks the probes, which compute figures by the classes of the library."""

import json
import struct
import subprocess

import numpy as np

from bench.truth.runner import PROJECT


class Probe:
    """A probe that takes samples and gives a line of JSON for each stream: build/release/bin/qel_NAME_probe."""

    def __init__(self, name):
        path = PROJECT / f"build/release/bin/qel_{name}_probe"
        if not path.exists():
            raise SystemExit(f"{path} is missing; build it by script/build release --target qel_{name}_probe")
        self._process = subprocess.Popen([path], stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    def __enter__(self):
        return self

    def __exit__(self, *fault):
        self._process.stdin.close()
        self._process.wait()

    def ask(self, samples):
        self._process.stdin.write(struct.pack("=i", len(samples)) + np.asarray(samples, dtype=np.float32).tobytes())
        self._process.stdin.flush()
        return json.loads(self._process.stdout.readline())
