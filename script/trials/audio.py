"""Corpora of short sounds."""

import math
import os
import struct
import wave

RATE_HZ = 22050


def make_files(folder, count, rng):
    """Short sounds, every tenth file no audio, every tenth truncated, odd names among them."""
    for number in range(count):
        name = f"song {number}" + ("\n\"' \udcff" if number % 7 == 3 else "")
        path = folder / f"album {number % 5}" / f"{name}.wav"
        path.parent.mkdir(parents=True, exist_ok=True)
        if number % 10 == 4:
            path.write_bytes(rng.randbytes(1000))
            continue
        period = rng.randrange(20, 400)
        frames = RATE_HZ * rng.randrange(1, 4) // 2
        samples = [int(12000 * math.sin(2 * math.pi * n / period) * (1 - n % 5000 / 5000)) for n in range(frames)]
        with wave.open(str(path), "wb") as file:
            file.setparams((1, 2, RATE_HZ, 0, "NONE", ""))
            file.writeframes(struct.pack(f"<{frames}h", *samples))
        if number % 10 == 8:
            os.truncate(path, path.stat().st_size // 2)
