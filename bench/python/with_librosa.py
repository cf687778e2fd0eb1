"""librosa, with the settings of our features."""

import librosa
import numpy as np

from bench.python.audio import RATE
from bench.truth.systems.librosa_system import Librosa as KeyFinder


class Librosa:
    name = f"librosa {librosa.__version__}"

    def __init__(self):
        self.calls = {
            "MFCC": self.mfcc,
            "MFCC key": self.mfcc_of_key,
            "chroma with key": self.chroma,
            "constant-Q": self.constant_q,
            "onsets": self.onsets,
            "tempo with beats": self.beats,
            "partials": self.partials,
            "reassigned spectrogram": self.reassigned,
        }
        self._key_finder = KeyFinder()

    @staticmethod
    def mfcc(audio):
        return librosa.feature.mfcc(
            y=audio, sr=RATE, n_mfcc=13, n_mels=40, n_fft=4096, hop_length=2048, fmin=0, fmax=16000, center=False)

    @staticmethod
    def mfcc_of_key(audio):
        return librosa.feature.mfcc(
            y=audio, sr=RATE, n_mfcc=13, n_mels=13, n_fft=4096, hop_length=2048, fmin=133, fmax=1071, center=False)

    def chroma(self, audio):
        chroma = librosa.feature.chroma_stft(
            y=audio, sr=RATE, n_fft=8192, hop_length=512, tuning=0, window="hamming", center=False)
        return chroma, self._key_finder.key(chroma.mean(axis=1))

    @staticmethod
    def constant_q(audio):
        return np.abs(librosa.hybrid_cqt(
            audio, sr=RATE, hop_length=1024, fmin=90, n_bins=212, bins_per_octave=36, tuning=0, window="hamming"))

    @staticmethod
    def onsets(audio):
        return librosa.onset.onset_detect(y=audio, sr=RATE, units="time")

    @staticmethod
    def beats(audio):
        return librosa.beat.beat_track(y=audio, sr=RATE, units="time")

    @staticmethod
    def partials(audio):
        return librosa.piptrack(
            y=audio, sr=RATE, n_fft=1024, hop_length=512, fmin=0, fmax=RATE / 2, threshold=1 / 500, center=False)

    @staticmethod
    def reassigned(audio):
        return librosa.reassigned_spectrogram(
            audio, sr=RATE, n_fft=512, hop_length=64, window="hann", center=False)
