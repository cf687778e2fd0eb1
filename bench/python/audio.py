"""The audio of the comparison: the same minute in every run."""

import numpy as np

RATE = 44100
SECONDS = 60


def minute():
    """Four decaying notes of six harmonics per second, in bars of four, over quiet noise: float32."""
    time = np.arange(RATE * SECONDS) / RATE
    step = np.floor(4 * time).astype(int)
    hertz = 220 * 2 ** (np.array([0, 4, 7, 12, 9, 5, 2, 7])[step % 8] / 12)
    within = time - step / 4
    tone = sum(np.sin(2 * np.pi * k * hertz * within) / k for k in range(1, 7))
    accent = np.where(step % 4 == 0, 0.25, 0.1)
    noise = np.random.default_rng(1).standard_normal(len(time))
    return (accent * tone * np.exp(-8 * within) + 0.002 * noise).astype(np.float32)
