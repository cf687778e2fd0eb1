"""Draws recordings with their truth, to be looked at: waveform with beats and onsets, and a spectrogram."""

import numpy as np
import soundfile
from matplotlib import pyplot
from scipy import signal


def mark(axes, times, begin, end, **style):
    for time in times:
        if begin <= time <= end:
            axes.axvline(time, **style)


def draw_truth(axes, truth, begin, end):
    mark(axes, truth.get("onsets", ()), begin, end, color="tab:orange", lw=0.8)
    mark(axes, truth.get("beats", ()), begin, end, color="tab:blue", lw=1.2, ls="--")
    mark(axes, truth.get("downbeats", ()), begin, end, color="tab:red", lw=1.6)


def plot(item, path, begin, seconds):
    truth = item.truth()
    audio, rate = soundfile.read(item.wav)
    end = begin + seconds
    part = audio[int(begin * rate):int(end * rate)]
    figure, (wave, picture) = pyplot.subplots(2, 1, figsize=(18, 9), sharex=True)
    wave.plot(begin + np.arange(part.size) / rate, part, color="0.3", lw=0.5)
    draw_truth(wave, truth, begin, end)
    wave.set_title(f"{item.name}: onsets orange, beats blue, down beats red")
    frequencies, times, power = signal.spectrogram(part, rate, nperseg=1024, noverlap=896)
    shown = frequencies < 8000
    picture.pcolormesh(begin + times, frequencies[shown], 10 * np.log10(power[shown] + 1e-12), vmin=-110, vmax=-40,
                       shading="auto")
    draw_truth(picture, truth, begin, end)
    if "f0" in truth:
        hertz = np.array(truth["f0"]["hz"])
        picture.plot(np.array(truth["f0"]["times"]), np.where(hertz > 0, hertz, np.nan), "w.", ms=2)
        picture.set_ylim(0, 3000)
    picture.set_xlim(begin, end)
    figure.tight_layout()
    figure.savefig(path, dpi=70)
    pyplot.close(figure)
