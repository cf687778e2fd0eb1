"""The NPZ files of `qel batch` have the numbers that `qel analyze` writes as JSON.

    KeyArraysAgreementTest.py QEL

Archives are read by Python's own zipfile, which checks their checksums; arrays by the format's description.
"""

import ast
import json
import math
import random
import sqlite3
import struct
import subprocess
import sys
import tempfile
import wave
import zipfile
from pathlib import Path

RATE_HZ = 44100
CODES = {"<f4": "f", "<f8": "d", "<u4": "I", "<i4": "i", "<c8": "2f"}


def write_sound(path):
    rng = random.Random(3)
    frames = RATE_HZ * 3
    samples = []
    for n in range(frames):
        stroke = math.exp(-(n % 22050) / 2000) * rng.uniform(-9000, 9000)
        samples += [int(stroke + 8000 * math.sin(n / 15)), int(stroke + 6000 * math.sin(n / 9))]
    with wave.open(str(path), "wb") as file:
        file.setparams((2, 2, RATE_HZ, 0, "NONE", ""))
        file.writeframes(struct.pack(f"<{2 * frames}h", *samples))


def read_array(data):
    """Type, shape and numbers of a .npy file, the last axis running fastest."""
    assert data[:8] == b"\x93NUMPY\x01\x00", data[:8]
    (length,) = struct.unpack("<H", data[8:10])
    assert (10 + length) % 64 == 0 and data[10 + length - 1:10 + length] == b"\n"
    header = ast.literal_eval(data[10:10 + length].decode("ascii"))
    assert header["fortran_order"] is False
    body, kind = data[10 + length:], header["descr"]
    count = math.prod(header["shape"])
    if kind.startswith("|S"):
        width = int(kind[2:])
        assert len(body) == count * width
        return kind, header["shape"], [body[i * width:(i + 1) * width].rstrip(b"\0").decode() for i in range(count)]
    code = CODES[kind]
    assert len(body) == count * struct.calcsize("<" + code), (kind, header["shape"], len(body))
    return kind, header["shape"], list(struct.unpack(f"<{len(body) // 4 if code != 'd' else count}{code[-1]}", body))


def read_arrays(path):
    with zipfile.ZipFile(path) as archive:
        assert archive.testzip() is None
        return {name.removesuffix(".npy"): read_array(archive.read(name)) for name in archive.namelist()}


def flat(values):
    return [number for value in values for number in (flat(value) if isinstance(value, list) else [value])]


def same(text, number):
    """Whether a number of JSON, which has the digits of a float, is the number of an array."""
    if text is None or number is None or isinstance(number, str):
        return text == number or (text is None and math.isnan(number))
    return text == number or struct.pack("<f", text) == struct.pack("<f", number)


def compare(name, wanted, found):
    assert len(wanted) == len(found), f"{name}: {len(found)} numbers, not {len(wanted)}"
    wrong = [(a, b) for a, b in zip(wanted, found) if not same(a, b)]
    assert not wrong, f"{name}: {wrong[:3]}"


def complexes_interleaved(channel):
    return [number for pair in zip(*channel) for number in pair]


def times(key):
    """When the results of a key begin, in seconds. The last block is pushed in two parts, for "audio range"."""
    if key["delivered"] == "per push":
        return [i * 4096 / RATE_HZ for i in range(key["count"] - 1)] + [132300 // 512 * 512 / RATE_HZ]
    if not key["delivered"].startswith(("per frame", "frames")):
        return [0.0] * key["count"]
    return [i * key["hop"] / key["results_per_frame"] / key["sample_rate"] for i in range(key["count"])]


def check_list(name, columns, results, arrays):
    """Events and partials: one array per member of an entry, channel after channel."""
    for index, column in enumerate(columns):
        compare(name + column, flat([channel[index] for result in results for channel in result]),
                arrays[name + column][2])
    channels = [c for result in results for c, channel in enumerate(result) for _ in channel[0]]
    compare(name + ".channel", channels, arrays[name + ".channel"][2])
    return len(channels)


def check_key(text, key, arrays, channels):
    """Compares one key of the JSON document with its arrays. Returns how many numbers were compared."""
    name = text.replace(" ", "-")
    results = key["values"]
    if name + ".strength" in arrays:
        return check_list(name, (".time", ".strength"), results, arrays)
    if name + ".bin" in arrays:
        return check_list(name, (".bin", ".frequency", ".magnitude", ".phase", ".frame"), results, arrays)
    kind, shape, numbers = arrays[name]
    assert shape[:2] == (len(results), channels), (name, shape, len(results))
    if kind == "<c8":
        results = [complexes_interleaved(channel) for result in results for channel in result]
    compare(name, flat(results), numbers)
    found = arrays[name + ".time"][2]
    wanted = times(key)
    assert len(found) == len(wanted), (name, len(found), len(wanted))
    assert all(abs(a - b) < 1e-9 for a, b in zip(wanted, found)), (name, wanted[:3], found[:3])
    return len(numbers)


def main():
    qel = str(Path(sys.argv[1]).resolve())
    with tempfile.TemporaryDirectory() as text:
        base = Path(text)
        write_sound(base / "sound.wav")
        subprocess.run([qel, "batch", "sound.wav", "--out", "ds", "--all", "--mix", "keep", "--quiet"],
                       cwd=base, check=True)
        document = json.loads(subprocess.run([qel, "analyze", "sound.wav", "--all", "--mix", "keep"], cwd=base,
                                             check=True, capture_output=True).stdout)
        (row,) = sqlite3.connect(base / "ds/dataset.sqlite").execute("SELECT arrays, arrays_bytes FROM files")
        assert (base / "ds" / row[0]).stat().st_size == row[1]
        arrays = read_arrays(base / "ds" / row[0])
        keys = document["files"][0]["keys"]
        counts = {name: check_key(name, key, arrays, 2) for name, key in keys.items()}
        assert len(counts) == 30, len(counts)
        empty = [name for name, count in counts.items() if count == 0]
        assert len(empty) <= 3, f"nothing was compared for {empty}"
        print(f"{sum(counts.values())} numbers of {len(counts)} keys")


if __name__ == "__main__":
    main()
