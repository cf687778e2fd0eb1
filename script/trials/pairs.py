"""Containers and codecs that the ffmpeg command writes, and recordings coded in them."""

import collections
import re
import subprocess
from pathlib import Path

PAIRS = Path(__file__).resolve().parents[2] / "tests" / "media" / "Pairs.txt"

Pair = collections.namedtuple("Pair", "name rate channels arguments")


def read_pairs(only=re.compile("")):
    """The pairs of the list whose names match."""
    pairs = []
    for line in PAIRS.read_text().splitlines():
        if line and not line.startswith("#"):
            name, rate, channels, *arguments = line.split()
            if only.search(name):
                pairs.append(Pair(name, int(rate), int(channels), tuple(arguments)))
    return pairs


def encode_all(pairs, wav, folder, mark):
    """Codes one WAV file in every pair, by one run of ffmpeg. Returns the files by their pairs."""
    files = {pair: folder / f"{mark}.{pair.name}" for pair in pairs}
    command = ["ffmpeg", "-nostdin", "-v", "error", "-y", "-i", str(wav)]
    for pair, path in files.items():
        command += ["-ar", str(pair.rate), "-ac", str(pair.channels), *pair.arguments, str(path)]
    subprocess.run(command, check=True)
    return files
