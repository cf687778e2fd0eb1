"""Sounds of our own: clicks, tones with known frequencies, noise and speech-like babble."""

import numpy as np
from scipy import signal

from bench.truth.draw import Draw

RATE = 44100


def generator(seed):
    """Noise from a seed."""
    return np.random.Generator(np.random.PCG64(Draw(seed).integer(0, 2**31)))


def silence(seconds):
    return np.zeros(int(round(seconds * RATE)))


def click(seconds=0.03, frequency=2000.0):
    """Full at its first sample, then a decay of 60 dB."""
    time = np.arange(int(seconds * RATE)) / RATE
    return np.cos(2 * np.pi * frequency * time) * 10.0 ** (-3.0 * time / seconds)


def clicks_at(samples, length):
    audio, one = np.zeros(length), click()
    for start in samples:
        end = min(start + one.size, length)
        audio[start:end] += one[:end - start]
    return audio


def envelope(length, attack_seconds=0.008, release_seconds=0.03):
    shape = np.ones(length)
    attack, release = (min(int(part * RATE), length // 2) for part in (attack_seconds, release_seconds))
    shape[:attack] = np.linspace(0.0, 1.0, attack, endpoint=False)
    shape[length - release:] = np.linspace(1.0, 0.0, release)
    return shape


def frequency_curve(note, time, vibrato_cents):
    """Hertz at seconds of the piece; the vibrato of 5.5 Hz begins with each note."""
    cents = vibrato_cents * np.sin(2 * np.pi * 5.5 * (time - note.start_seconds))
    return 440.0 * 2.0 ** ((note.pitch - 69) / 12.0 + cents / 1200.0)


def tone(note, vibrato_cents, brightness):
    """Harmonics below 10 kHz that fall with their number: steeply, less so, or odd ones only."""
    length = int(round((note.end_seconds - note.start_seconds) * RATE))
    time = note.start_seconds + np.arange(length) / RATE
    phase = 2 * np.pi * np.cumsum(frequency_curve(note, time, vibrato_cents)) / RATE
    base = 440.0 * 2.0 ** ((note.pitch - 69) / 12.0)
    audio = np.zeros(length)
    for number in range(1, 41, 2 if brightness == 2 else 1):
        if number * base < 10000.0:
            audio += np.sin(number * phase) / number ** (2.0, 1.0, 1.0)[brightness]
    return audio * envelope(length) * note.velocity / 127.0


def line_audio(score, vibrato_cents, brightness):
    audio = silence(score.end_seconds + 0.5)
    for note in score.notes:
        start = int(round(note.start_seconds * RATE))
        sound = tone(note, vibrato_cents, brightness)
        audio[start:start + sound.size] += sound
    return audio


def coloured_noise(seed, seconds, exponent):
    """Noise whose power falls with frequency to the exponent: 0 white, 1 pink. RMS 1."""
    white = np.fft.rfft(generator(seed).standard_normal(int(seconds * RATE)))
    frequencies = np.maximum(np.fft.rfftfreq(int(seconds * RATE), 1 / RATE), 20.0)
    audio = np.fft.irfft(white * frequencies ** (-exponent / 2), int(seconds * RATE))
    return audio / np.sqrt(np.mean(audio ** 2))


def wind(seed, seconds=26.0):
    """Pink noise whose level wanders slowly without a period."""
    slow = np.cumsum(generator(seed + " level").standard_normal(int(seconds * 10)))
    slow = np.interp(np.arange(int(seconds * RATE)) / RATE * 10, np.arange(slow.size), slow - slow.mean())
    return coloured_noise(seed, seconds, 1.0) * np.exp(np.clip(slow / 4.0, -2.0, 1.0))


def drone(seed, seconds=26.0):
    """A fifth with octaves that sounds throughout."""
    draw, time = Draw(seed), np.arange(int(seconds * RATE)) / RATE
    base = 440.0 * 2.0 ** ((draw.integer(36, 50) - 69) / 12.0)
    audio = np.zeros(time.size)
    for factor in (1.0, 1.5, 2.0, 3.0, 4.0):
        audio += np.sin(2 * np.pi * base * factor * time + draw.uniform(0, 6.28)) / factor
    return audio * envelope(time.size, 1.5, 1.5)


def resonate(audio, frequency, width):
    radius = np.exp(-np.pi * width / RATE)
    denominator = [1.0, -2.0 * radius * np.cos(2 * np.pi * frequency / RATE), radius * radius]
    return signal.lfilter([1.0 - radius], denominator, audio)


def syllable(draw, seed, length):
    """A voiced sound of two formants, or a hiss."""
    if draw.chance(0.25):
        hiss = generator(seed).standard_normal(length)
        return 0.1 * signal.lfilter([1.0, -0.95], [1.0], hiss) * envelope(length, 0.03, 0.04)
    glide = np.linspace(draw.uniform(90, 200), draw.uniform(90, 200), length)
    pulses = np.diff(np.floor(np.cumsum(glide) / RATE), prepend=0.0)
    first, second = draw.uniform(300, 800), draw.uniform(900, 2300)
    voiced = resonate(resonate(pulses, first, 80.0), second, 120.0) + 0.3 * resonate(pulses, first, 80.0)
    return voiced / (np.max(np.abs(voiced)) + 1e-9) * envelope(length, 0.02, 0.05)


def speech(seed, seconds=26.0):
    """Syllables of 0.09 to 0.4 s in words and sentences with pauses of any length."""
    draw, audio, now = Draw(seed), silence(seconds), 0.3
    while now < seconds - 1.0:
        for _ in range(draw.integer(1, 5)):
            length = int(draw.logarithmic(0.09, 0.4) * RATE)
            start = int(now * RATE)
            sound = syllable(draw, f"{seed} {start}", min(length, audio.size - start))
            audio[start:start + sound.size] += sound * draw.uniform(0.4, 1.0)
            now += length / RATE
            if now > seconds - 0.5:
                break
        now += draw.logarithmic(0.04, 0.7)
    return audio


def scattered_clicks(seed, seconds=26.0):
    """Clicks with exponential distances of 0.4 s in the mean: no place follows from others."""
    draw, places, now = Draw(seed), [], 0.5
    while now < seconds - 0.5:
        places.append(int(now * RATE))
        now += -0.4 * np.log(1.0 - draw.uniform())
    return clicks_at(places, int(seconds * RATE))


NEGATIVE_SOUNDS = {
    "noise": lambda seed: coloured_noise(seed, 26.0, 0.0 if Draw(seed).chance(0.5) else 1.0),
    "drone": drone, "speech": speech, "wind": wind, "scattered clicks": scattered_clicks,
}
