"""script/beside: two commands at a time, whose failures are not lost."""

import signal
import subprocess
import tempfile
import time
import unittest
from pathlib import Path

SCRIPT = Path(__file__).resolve().parents[2] / "script/beside"
LIMIT_SECONDS = 20  # for what takes a hundredth of that


def words(first, second, log):
    return [str(SCRIPT), str(log), "bash", "-c", first, "--", "bash", "-c", second]


class Beside(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = Path(scratch.name)
        self.log = self.folder / "log"

    def run_both(self, first, second):
        return subprocess.run(words(first, second, self.log), cwd=self.folder, capture_output=True, text=True,
                              timeout=LIMIT_SECONDS)

    def test_shows_the_second_output_behind_the_first(self):
        done = self.run_both("sleep 0.3; echo one", "echo two; echo three >&2")
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "one\ntwo\nthree\n", ""))

    def test_runs_both_at_a_time(self):
        # Each waits for the other.
        meet = "touch {0}; for try in $(seq 100); do [ -e {1} ] && exit 0; sleep 0.05; done; exit 1"
        self.assertEqual(self.run_both(meet.format("a", "b"), meet.format("b", "a")).returncode, 0)

    def test_fails_with_either_and_lets_the_other_end(self):
        slow = "sleep 0.3; echo whole"
        for first, second in (("exit 3", slow), (slow, "exit 3")):
            done = self.run_both(first, second)
            self.assertEqual((done.returncode, done.stdout), (3, "whole\n"))

    def test_fails_if_both_fail(self):
        self.assertNotEqual(self.run_both("exit 3", "exit 4").returncode, 0)

    def test_refuses_a_call_without_two_commands(self):
        for call in ((self.log, "true"), (self.log, "true", "--"), (self.log, "--", "true")):
            done = subprocess.run([str(SCRIPT), *map(str, call)], capture_output=True)
            self.assertEqual(done.returncode, 2, call)

    def test_ends_what_the_commands_have_started_when_it_is_ended(self):
        command = "sleep {0} & echo $! >{1}; wait"
        running = subprocess.Popen(words(command.format(300, "one"), command.format(301, "two"), self.log),
                                   cwd=self.folder)
        children = [self.number_in(name) for name in ("one", "two")]
        running.send_signal(signal.SIGTERM)
        self.assertEqual(running.wait(LIMIT_SECONDS), 143)
        for child in children:
            self.wait_until(lambda: not is_running(child))

    def number_in(self, name):
        path = self.folder / name
        self.wait_until(lambda: path.exists() and path.read_text().endswith("\n"))
        return int(path.read_text())

    def wait_until(self, condition):
        end = time.monotonic() + LIMIT_SECONDS
        while not condition():
            self.assertLess(time.monotonic(), end)
            time.sleep(0.02)


def is_running(process):
    try:
        state = Path(f"/proc/{process}/stat").read_text().rpartition(")")[2].split()[0]
    except FileNotFoundError:
        return False
    return state != "Z"  # which nobody has waited for yet


if __name__ == "__main__":
    unittest.main()
