"""The library's readings, through `qel read`."""

import json
import subprocess

from bench.truth.systems import with_sharps
from bench.truth.systems.raw_keys import digest_of, tool

# What is wanted, and what `qel read` has to be told for it.
OPTIONS = {"tempo": ["--only", "tempo"], "beats": ["--only", "tempo", "--beats"],
           "downbeats": ["--only", "bars", "--beats"], "beats_per_bar": ["--only", "bars"],
           "key": ["--only", "key"], "onsets": ["--onsets"], "f0": ["--pitch"]}


class Readings:
    name = "readings"

    def __init__(self):
        self._qel = tool()
        self.version = digest_of(self._qel)

    def options(self, wants):
        only, lists = set(), []
        for want in wants:
            words = list(OPTIONS.get(want, []))
            if words[:1] == ["--only"]:
                only.add(words[1])
                words = words[2:]
            lists += [word for word in words if word not in lists]
        return ["--only", ",".join(sorted(only or {"tempo"}))] + lists

    def read(self, path, wants):
        command = [str(self._qel), "read", "--quiet", "--format", "json", *self.options(wants), str(path)]
        done = subprocess.run(command, capture_output=True, text=True)
        if done.returncode != 0:
            raise RuntimeError(done.stderr.strip())
        return json.loads(done.stdout)["files"][0]

    def analyze(self, path, wants):
        read = self.read(path, wants)
        beats = read.get("beats", [])
        answers = {
            "tempo": self.tempo(read),
            "beats": [beat["seconds"] for beat in beats],
            "downbeats": [beat["seconds"] for beat in beats if beat["position"] == 1],
            "beats_per_bar": read.get("beats_per_bar"),
            "key": with_sharps(read.get("key")),
            "onsets": [onset["seconds"] for onset in read.get("onsets", [])],
            "f0": {"times": [pitch["seconds"] for pitch in read.get("pitch", [])],
                   "hz": [pitch["frequency_hz"] or 0 for pitch in read.get("pitch", [])]},
        }
        return {want: answers[want] for want in wants if want in answers}

    @staticmethod
    def tempo(read):
        """None where there is no steady tempo."""
        return read.get("tempo_bpm") if read.get("tempo_is_steady") else None


class GuessingReadings(Readings):
    """The same, with the best guess where there is no steady tempo."""

    name = "readings-guess"

    @staticmethod
    def tempo(read):
        return read.get("tempo_bpm")


class SureReadings(GuessingReadings):
    """The guesses with their strengths, for the reliability of these."""

    name = "readings-strengths"

    def analyze(self, path, wants):
        read = self.read(path, wants)
        return {"tempo": self.tempo(read), "tempo_strength": read.get("tempo_strength"),
                "beats_per_bar": read.get("beats_per_bar"),
                "beats_per_bar_strength": read.get("beats_per_bar_strength"),
                "key": with_sharps(read.get("key")), "key_strength": read.get("key_strength")}
