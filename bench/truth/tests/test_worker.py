"""The process that a system runs in, with systems of our own."""

import json
import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

PROJECT = Path(__file__).resolve().parents[3]
SYSTEMS = '''
class Steady:
    name, version = "steady", "7"

    def analyze(self, path, wants):
        print("a library that prints")
        if path == "broken":
            raise ValueError("cannot read it")
        if path == "costly":
            sum(number * number for number in range(1_000_000))
        return {want: 120.0 for want in wants}


class NotThere:
    def __init__(self):
        import no_module_of_this_name
'''


def run(kind, *requests):
    with tempfile.TemporaryDirectory() as directory:
        path = Path(directory) / "systems.py"
        path.write_text(SYSTEMS)
        lines = "".join(json.dumps({"path": each, "wants": ["tempo"]}) + "\n" for each in requests)
        done = subprocess.run([sys.executable, "-m", "bench.truth.worker", f"{path}:{kind}"], input=lines, text=True,
                              capture_output=True, env={**os.environ, "PYTHONPATH": str(PROJECT)})
    return [json.loads(line) for line in done.stdout.splitlines()]


class Worker(unittest.TestCase):
    def test_a_class_of_a_file_answers_and_a_fault_ends_nothing(self):
        about, first, fault, last = run("Steady", "a.wav", "broken", "costly")
        self.assertEqual(about, {"name": "steady", "version": "7"})
        self.assertEqual(first["answers"], {"tempo": 120.0})
        self.assertEqual(fault["fault"], "ValueError: cannot read it")
        self.assertGreater(last["cpu_seconds"], first["cpu_seconds"])

    def test_a_system_that_is_not_installed_says_what_is_missing(self):
        (about,) = run("NotThere", "a.wav")
        self.assertIn("no_module_of_this_name", about["missing"])


if __name__ == "__main__":
    unittest.main()
