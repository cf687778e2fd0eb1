"""libqm-dsp, by a small program over its library that is compiled when it is first needed."""

import hashlib
import subprocess
from pathlib import Path

from bench.truth.paths import cache

SOURCE = Path(__file__).with_name("qm_dsp_probe.cpp")
NAMES = ("C", "C#", "D", "D#", "E", "F", "F#", "G", "G#", "A", "A#", "B")


def compiled():
    """The program, named after its source."""
    digest = hashlib.sha256(SOURCE.read_bytes()).hexdigest()[:12]
    program = cache() / f"qm-dsp-probe-{digest}"
    if not program.exists():
        program.parent.mkdir(parents=True, exist_ok=True)
        partial = program.with_suffix(".partial")
        done = subprocess.run(["g++", "-std=c++20", "-O2", "-isystem", "/usr/include/qm-dsp", str(SOURCE), "-o",
                               str(partial), "-lqm-dsp"], capture_output=True, text=True)
        if done.returncode != 0:
            raise RuntimeError("libqm-dsp-dev is missing: " + done.stderr.strip().splitlines()[0])
        partial.replace(program)
    return program, digest


class QmDsp:
    name = "qm-dsp"

    def __init__(self):
        import soundfile
        self._soundfile = soundfile
        self._program, digest = compiled()
        self.version = f"1.7.1-{digest}"

    def analyze(self, path, wants):
        rhythm = {"tempo", "beats", "downbeats"} & set(wants)
        jobs = (["rhythm"] if rhythm else []) + (["key"] if "key" in wants else [])
        if not jobs:
            return {}
        audio, _ = self._soundfile.read(path, dtype="float32")
        done = subprocess.run([str(self._program), *jobs], input=audio.tobytes(), capture_output=True, check=True)
        lines = dict(line.partition(" ")[::2] for line in done.stdout.decode().splitlines())
        answers = {name: [float(each) for each in lines[name].split()] for name in ("beats", "downbeats")
                   if name in lines}
        if rhythm:
            answers["tempo"] = self.tempo_of(answers["beats"])
        if "key" in lines:
            answers["key"] = self.key_of(int(lines["key"]))
        return {want: answers[want] for want in wants if want in answers}

    @staticmethod
    def key_of(number):
        if number == 0:
            return None
        return f"{NAMES[(number - 1) % 12]} {'minor' if number > 12 else 'major'}"

    @staticmethod
    def tempo_of(beats):
        """From the median distance of the beats."""
        distances = sorted(after - before for before, after in zip(beats, beats[1:]))
        return 60.0 / distances[len(distances) // 2] if distances else None
