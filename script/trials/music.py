"""Corpora of many short files: pieces of recordings in many containers, faults, and odd names."""

import os
import random
import struct
import subprocess

from trials.names import Names
from trials.pairs import encode_all, read_pairs

RATE_HZ = 44100
CHANNELS = 2
#: Most files are too short for a tempo, as the checks are of the ways and not of the analysis.
SHORT_SECONDS, LONG_SECONDS = (0.3, 1.2), (1.2, 8.0)
LONG_SHARE = 0.1
MOST_TAKES = 12  # pieces that are coded in every pair
DAMAGED_SHARE = 0.02
ENDS = (".flac", ".mp3", ".ogg", ".wav", ".m4a", ".opus", ".aiff")
#: Files of these pairs may have a tag at their head, by which copies differ.
TAGGED = ("mp3", "vbr.mp3", "bare.mp3", "flac", "s24.flac", "aac", "tta")
#: By what tests/batch/FaultyFiles.c does to a process that opens them.
FAULTS = ("fault crash.wav", "fault hang.wav", "fault memory.wav")


def decode(path):
    """All samples of a recording, 16-bit integers of two channels."""
    command = ["ffmpeg", "-nostdin", "-v", "error", "-i", str(path), "-ar", str(RATE_HZ), "-ac", str(CHANNELS),
               "-f", "s16le", "-"]
    return subprocess.run(command, check=True, capture_output=True).stdout


def wav_of(samples):
    head = struct.pack("<4sI4s4sIHHIIHH4sI", b"RIFF", 36 + len(samples), b"WAVE", b"fmt ", 16, 1, CHANNELS, RATE_HZ,
                       2 * CHANNELS * RATE_HZ, 2 * CHANNELS, 16, b"data", len(samples))
    return head + samples


def cut(recordings, rng):
    """A piece of one of the recordings as a WAV file."""
    samples, frame = rng.choice(recordings), 2 * CHANNELS
    length = int(rng.uniform(*(LONG_SECONDS if rng.random() < LONG_SHARE else SHORT_SECONDS)) * RATE_HZ)
    begin = rng.randrange(max(1, len(samples) // frame - length))
    return wav_of(samples[begin * frame:(begin + length) * frame])


def tagged(data, rng):
    """The file with an ID3v2 tag of its own."""
    title = b"\0" + f"{rng.randrange(10**9)}".encode()
    frame = b"TIT2" + struct.pack(">IH", len(title), 0) + title
    return b"ID3\x04\0\0" + struct.pack(">I", len(frame)) + frame + data


def truncated(data, rng):
    return data[:int(len(data) * rng.uniform(0.05, 0.95))]


def flipped(data, rng):
    bits = bytearray(data)
    for _ in range(20):
        bits[rng.randrange(len(bits))] ^= 1 << rng.randrange(8)
    return bytes(bits)


def with_wrong_header(data, rng):
    head = rng.choice((b"RIFF\xff\xff\xff\xffWAVEfmt ", b"OggS\0\2", b"fLaC\0\0\0\x22", b"ID3\x04",
                       b"\0\0\0\x20ftypM4A ", b"FORM\0\0\0\0AIFF", b"\x1aE\xdf\xa3"))
    return head + data[len(head):]


def empty(_data, _rng):
    return b""


def garbage(_data, rng):
    return rng.randbytes(rng.randrange(1, 20000))


DAMAGE = (truncated, flipped, with_wrong_header, empty, garbage)


def encoded(recordings, count, rng, place):
    """Files by pairs: as many as a corpus of this size has use for, every pair at least once in a large one."""
    pairs = read_pairs()
    chosen = rng.sample(pairs, min(len(pairs), max(1, count * 2 // 3)))
    files = []
    for take in range(min(MOST_TAKES, max(1, count // 300))):
        wav = place / f"take{take}.in"
        wav.write_bytes(cut(recordings, rng))
        files += [(pair.name, path.read_bytes()) for pair, path in encode_all(chosen, wav, place, wav.stem).items()]
        for each in place.glob(f"take{take}.*"):
            each.unlink()
    return files


class _Maker:
    """Puts files with names of all kinds into a folder."""

    def __init__(self, folder, count, rng):
        self._folder, self._rng = os.fsencode(folder), rng
        self._names = Names(rng, count)
        self.paths = []

    def place(self, end):
        path = self._names.next(end)
        os.makedirs(os.path.dirname(self._folder + b"/" + path), exist_ok=True)
        self.paths.append(path)
        return self._folder + b"/" + path

    def add(self, end, data):
        with open(self.place(end.encode()), "xb") as file:
            file.write(data)


def _content(files, recordings, rng):
    """A file that is like no other, as far as that is cheap."""
    if rng.random() < 0.5:
        return ".wav", cut(recordings, rng)
    name, data = rng.choice(files)
    return "." + name.rpartition(".")[2], tagged(data, rng) if name in TAGGED else data


def make_corpus(folder, audio, count, seed, place, has_faults=True):
    """Makes a corpus of so many files, links among them.

    Files that are damaged are 2 %, and at least one of each kind; three have names that tests/batch/FaultyFiles.c
    knows, unless there are to be none.
    """
    rng = random.Random(seed)
    sources = sorted(path for path in audio.iterdir() if path.suffix in ENDS)
    recordings = [decode(path) for path in sources]
    files = encoded(recordings, count, rng, place)
    folder.mkdir()
    maker = _Maker(folder, count, rng)
    damaged = max(len(DAMAGE), round(count * DAMAGED_SHARE))
    faults = FAULTS if has_faults else ()
    whole = count - damaged - len(faults) - 2
    contents = [("." + name.rpartition(".")[2], data) for name, data in rng.sample(files, min(len(files), whole))]
    contents += [_content(files, recordings, rng) for _ in range(whole - len(contents))]
    for end, data in contents:
        maker.add(end, data)
    for number in range(damaged):
        end, data = rng.choice(contents)
        maker.add(end, DAMAGE[number % len(DAMAGE)](data, rng))
    os.symlink(os.path.abspath(os.fsencode(folder) + b"/" + maker.paths[0]), maker.place(b".wav"))
    os.symlink(b"nowhere.wav", maker.place(b".wav"))
    for name in faults:
        (folder / name).write_bytes(cut(recordings, rng))
