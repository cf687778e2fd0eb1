"""The library's own keys as they are, through the tool `qel`."""

import hashlib
import json
import os
import shutil
import subprocess
from pathlib import Path

NAMES = ("C", "C#", "D", "D#", "E", "F", "F#", "G", "G#", "A", "A#", "B")
KEYS_OF = {"tempo": "global tempo", "beats": "beat data", "downbeats": "down beat data",
           "beats_per_bar": "global number of beats per bar", "key": "pitch class porofile key correlation",
           "onsets": "onset data", "f0": "partials"}
LEAST_SHARE_OF_STRONGEST = 0.1


def tool():
    """QEL, else that of the release build, else the one on the path."""
    built = Path(__file__).resolve().parents[3] / "build" / "release" / "bin" / "qel"
    found = os.environ.get("QEL") or (built if built.exists() else shutil.which("qel"))
    if not found:
        raise RuntimeError("qel is not built; run script/build release, or set QEL to the tool")
    return Path(found).resolve()


def digest_of(qel):
    """Of the tool and the libraries beside it: what decides on the results."""
    parts = [qel] + sorted(qel.parent.parent.glob("lib/lib*.so"))
    return hashlib.sha256(b"".join(part.read_bytes() for part in parts)).hexdigest()[:12]


def strongest_key(frames):
    """The greatest of the 24 mean correlations: majors from C up, then minors."""
    if not frames:
        return None
    sums = [sum(frame[0][0][index] for frame in frames) for index in range(24)]
    best = max(range(24), key=sums.__getitem__)
    return f"{NAMES[best % 12]} {'minor' if best >= 12 else 'major'}"


class RawKeys:
    name = "keys"

    def __init__(self):
        self._qel = tool()
        self.version = digest_of(self._qel)

    def values(self, path, wants):
        keys = [KEYS_OF[want] for want in wants if want in KEYS_OF]
        command = [str(self._qel), "analyze", "--quiet", "--format", "json", "--keys", ",".join(keys), str(path)]
        done = subprocess.run(command, capture_output=True, text=True)
        if done.returncode != 0:
            raise RuntimeError(done.stderr.strip())
        return json.loads(done.stdout)["files"][0]["keys"]

    def analyze(self, path, wants):
        keys = self.values(path, wants)
        read = {"tempo": self.tempo, "beats": self.times, "downbeats": self.times, "onsets": self.times,
                "beats_per_bar": self.count, "key": lambda key: strongest_key(key["values"]), "f0": self.pitch}
        return {want: read[want](keys[KEYS_OF[want]]) if KEYS_OF[want] in keys else None
                for want in wants if want in KEYS_OF}

    @staticmethod
    def tempo(key):
        """Tempo 1, or tempo 2 where the confidence is below a half: the one that the beats follow."""
        if not key["values"]:
            return None
        first, second, confidence = key["values"][0][0]
        return first if confidence >= 0.5 else second

    @staticmethod
    def times(key):
        return key["values"][0][0][0] if key["values"] else []

    @staticmethod
    def count(key):
        return int(key["values"][0][0][0]) if key["values"] else None

    @staticmethod
    def pitch(key):
        """The lowest partial that is not weak beside the strongest, in the middle of its frame."""
        times, hertz = [], []
        for index, frame in enumerate(key["values"]):
            _, frequencies, magnitudes, _, _ = frame[0]
            limit = LEAST_SHARE_OF_STRONGEST * max(magnitudes, default=0.0)
            heard = [frequency for frequency, magnitude in zip(frequencies, magnitudes) if magnitude >= limit > 0.0]
            times.append((index * key["hop"] + key["frame_size"] / 2) / key["sample_rate"])
            hertz.append(min(heard) if heard else 0.0)
        return {"times": times, "hz": hertz}


class ShiftedKeys(RawKeys):
    """The keys with beats and down beats moved by the distance that docs/keys.md gives for their period."""

    name = "keys-shifted"
    RATE = 44100.0

    def analyze(self, path, wants):
        needed = tuple(wants) + (("tempo",) if "beats" in wants and "tempo" not in wants else ())
        answers = super().analyze(path, needed)
        if answers.get("tempo"):
            period = 60.0 / answers["tempo"]
            late = 0.05 * period + 864.0 / self.RATE + 7.6e-8 * self.RATE * period * period
            for want in ("beats", "downbeats"):
                if answers.get(want):
                    answers[want] = [time + late for time in answers[want]]
        return {want: answers[want] for want in wants if want in answers}
