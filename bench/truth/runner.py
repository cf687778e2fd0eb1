"""Runs systems over recordings and keeps their answers, so that a run can be stopped and taken up again."""

import json
import os
import re
import subprocess
import sys
from pathlib import Path

from bench.truth import synth
from bench.truth.material import MATERIAL_VERSION
from bench.truth.measures import WANTS
from bench.truth.paths import cache, write_whole
from bench.truth.render import RATE, write_audio
from bench.truth.systems import interpreter_of

PROJECT = Path(__file__).resolve().parents[2]
ONE_THREAD = {name: "1" for name in ("OMP_NUM_THREADS", "OPENBLAS_NUM_THREADS", "NUMBA_NUM_THREADS",
                                     "MKL_NUM_THREADS")}


class Missing(Exception):
    """A system that is not installed."""


class Worker:
    """A system in its own process, warmed up by a recording that does not count."""

    def __init__(self, name):
        environment = {**os.environ, **ONE_THREAD, "PYTHONPATH": str(PROJECT), "PYTHONWARNINGS": "ignore"}
        try:
            self._process = subprocess.Popen(
                [interpreter_of(name), "-m", "bench.truth.worker", name], stdin=subprocess.PIPE,
                stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, env=environment)
        except OSError as fault:
            raise Missing(str(fault)) from fault
        self.about = self._read()
        if "missing" in self.about:
            raise Missing(self.about["missing"])
        self._warm = False

    def _read(self):
        line = self._process.stdout.readline()
        return json.loads(line) if line else {"missing": "its process ended", "fault": "its process ended"}

    def _ask(self, path, wants):
        self._process.stdin.write(json.dumps({"path": str(path), "wants": wants}) + "\n")
        self._process.stdin.flush()
        return self._read()

    def ask(self, path, wants):
        if not self._warm:
            self._ask(warm_up_audio(), sorted({want for each in WANTS.values() for want in each}))
            self._warm = True
        return self._ask(path, wants)

    def close(self):
        self._process.stdin.close()
        self._process.wait()


def warm_up_audio():
    path = cache() / "warm-up.wav"
    if not path.exists():
        write_audio(path, 0.5 * synth.clicks_at(range(4410, 8 * RATE, RATE // 2), 8 * RATE))
    return path


def results_directory(about):
    name = re.sub(r"[^A-Za-z0-9._-]+", "-", f"{about['name']}-{about['version']}")
    return cache() / "results" / f"material-{MATERIAL_VERSION}" / name


def run_system(name, items, say=lambda text: None):
    """(about the system, {item name: result}); a result has answers and CPU seconds, or a fault."""
    worker = Worker(name)
    directory, results = results_directory(worker.about), {}
    try:
        for count, item in enumerate(items):
            kept = directory / f"{item.name}.json"
            if not kept.exists():
                result = worker.ask(item.wav, WANTS[item.plan.kind])
                if "fault" in result:
                    say(f"{name}: {item.name}: {result['fault']}")
                    results[item.name] = result     # not kept: the next run tries again
                    if "missing" in result:
                        worker = Worker(name)
                    continue
                write_whole(kept, json.dumps(result))
                if count % 25 == 0:
                    say(f"{name}: {count + 1} of {len(items)}")
            results[item.name] = json.loads(kept.read_text())
    finally:
        worker.close()
    return worker.about, results


def stderr_line(text):
    print(text, file=sys.stderr, flush=True)
