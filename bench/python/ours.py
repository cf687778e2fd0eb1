"""The library, by its Python package."""

import qelaudio

from bench.python.audio import RATE

KEYS = {
    "MFCC key": ["mel frequency cepstral coefficients"],
    "chroma with key": ["pitch class profile", "global key"],
    "constant-Q": ["constant q spectrum"],
    "onsets": ["onset data"],
    "tempo with beats": ["global tempo", "beat data"],
    "partials": ["partials"],
    "reassigned spectrogram": ["reasigned spectrum"],
}


class Ours:
    """Its `calls` map each feature to a call that takes the audio and returns the result."""

    name = f"qelaudio {qelaudio.__version__} ({qelaudio.fft_backend})"

    def __init__(self):
        self.calls = {"MFCC": self.mfcc}
        for feature, keys in KEYS.items():
            self.calls[feature] = lambda audio, keys=keys: qelaudio.analyze(audio, keys, sample_rate=RATE)
        self.calls["all at once"] = self.together

    @staticmethod
    def mfcc(audio):
        return qelaudio.read(audio, "mfcc", sample_rate=RATE).mfcc.values

    @staticmethod
    def together(audio):
        keys = [key for row in KEYS.values() for key in row]
        return qelaudio.analyze(audio, keys, sample_rate=RATE)
