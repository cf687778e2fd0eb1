"""Noise and lossy coding of a finished recording, with its times kept."""

import subprocess
import tempfile
from pathlib import Path

import numpy as np
import soundfile

from bench.truth.render import RATE, write_audio
from bench.truth.synth import coloured_noise

NOISE_LEVELS_DB = (20, 10, 0)
CODERS = {"mp3": ("libmp3lame", "mp3"), "aac": ("aac", "m4a"), "opus": ("libopus", "opus")}
BIT_RATES = (64, 128)
CODINGS = {f"{coder}-{rate}": (coder, rate) for coder in CODERS for rate in BIT_RATES}
WIDEST_DELAY_SAMPLES = 8192


def with_noise(audio, level_db, seed):
    """Pink noise at this ratio of the power of the recording to that of the noise."""
    noise = coloured_noise(seed, audio.size / RATE + 0.1, 1.0)[:audio.size]
    power = np.sqrt(np.mean(audio ** 2))
    return audio + noise * power * 10.0 ** (-level_db / 20.0)


def delay_samples(original, other):
    """How much later the same sound comes in the other, by the greatest correlation."""
    length = min(original.size, other.size)
    size = 1 << (length + WIDEST_DELAY_SAMPLES).bit_length()
    product = np.fft.irfft(np.conj(np.fft.rfft(original[:length], size)) * np.fft.rfft(other[:length], size), size)
    lags = np.concatenate((product[-WIDEST_DELAY_SAMPLES:], product[:WIDEST_DELAY_SAMPLES]))
    return int(np.argmax(lags)) - WIDEST_DELAY_SAMPLES


def moved_back(audio, samples, length):
    """The sound `samples` earlier, cut or filled up to the length."""
    if samples < 0:
        audio = np.concatenate((np.zeros(-samples), audio))
    else:
        audio = audio[samples:]
    return np.concatenate((audio, np.zeros(max(length - audio.size, 0))))[:length]


def run_ffmpeg(*arguments):
    done = subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-y", *map(str, arguments)], capture_output=True,
                          text=True)
    if done.returncode != 0:
        raise SystemExit(f"ffmpeg failed: {done.stderr.strip()}")


def coded_and_decoded(audio, coding):
    coder, rate = CODINGS[coding]
    encoder, suffix = CODERS[coder]
    with tempfile.TemporaryDirectory() as directory:
        plain, coded, again = (Path(directory) / name for name in ("in.wav", f"coded.{suffix}", "out.wav"))
        write_audio(plain, audio)
        run_ffmpeg("-i", plain, "-c:a", encoder, "-b:a", f"{rate}k", coded)
        run_ffmpeg("-i", coded, "-ar", RATE, "-ac", 1, again)
        decoded, _ = soundfile.read(again)
    return decoded


def through_codec(audio, coding):
    """(recording, delay taken out in samples). A delay that is left is a fault of this program."""
    decoded = coded_and_decoded(audio, coding)
    delay = delay_samples(audio, decoded)
    aligned = moved_back(decoded, delay, audio.size)
    left = delay_samples(audio, aligned)
    if left != 0:
        raise SystemExit(f"{coding}: {left} samples of delay are left after {delay} were taken out")
    return aligned, delay
