"""essentia, with the settings of our features. Its objects are made once, before anything is timed."""

import essentia
import essentia.standard as standard
import numpy as np

from bench.python.audio import RATE


def frames_of(audio, size, hop):
    return standard.FrameGenerator(audio, frameSize=size, hopSize=hop, startFromZero=True, lastFrameToEndOfFile=False)


class Essentia:
    name = f"essentia {essentia.__version__}"

    def __init__(self):
        essentia.log.infoActive = False
        essentia.log.warningActive = False
        self.calls = {
            "MFCC": lambda audio: self.mfcc(audio, self._mfcc),
            "MFCC key": lambda audio: self.mfcc(audio, self._mfcc_of_key),
            "chroma with key": self.chroma,
            "constant-Q": self.constant_q,
            "onsets": lambda audio: standard.OnsetRate()(audio)[0],
            "tempo with beats": lambda audio: standard.RhythmExtractor2013(method="degara")(audio)[:2],
            "partials": self.partials,
        }
        self._hann = standard.Windowing(type="hann", zeroPhase=False)
        self._hamming = standard.Windowing(type="hamming", zeroPhase=False)
        self._spectrum = {size: standard.Spectrum(size=size) for size in (1024, 4096, 8192)}
        shared = {"sampleRate": RATE, "inputSize": 2049, "numberCoefficients": 13}
        self._mfcc = standard.MFCC(numberBands=40, lowFrequencyBound=0, highFrequencyBound=16000, **shared)
        self._mfcc_of_key = standard.MFCC(numberBands=13, lowFrequencyBound=133, highFrequencyBound=1071, **shared)
        self._chroma_peaks = standard.SpectralPeaks(sampleRate=RATE)
        self._hpcp = standard.HPCP(sampleRate=RATE)
        self._key = standard.Key()
        self._constant_q = standard.ConstantQ(
            sampleRate=RATE, minFrequency=90, numberBins=212, binsPerOctave=36, windowType="hamming")
        self._peaks = standard.SpectralPeaks(sampleRate=RATE, maxFrequency=RATE / 2, maxPeaks=512)

    def mfcc(self, audio, coefficients):
        spectrum = self._spectrum[4096]
        return np.array([coefficients(spectrum(self._hann(frame)))[1] for frame in frames_of(audio, 4096, 2048)])

    def chroma(self, audio):
        spectrum = self._spectrum[8192]
        chroma = np.array([self._hpcp(*self._chroma_peaks(spectrum(self._hamming(frame))))
                           for frame in frames_of(audio, 8192, 512)])
        return chroma, self._key(chroma.mean(axis=0))[:2]

    def constant_q(self, audio):
        return np.array([np.abs(self._constant_q(frame)) for frame in frames_of(audio, 32768, 1024)])

    def partials(self, audio):
        spectrum = self._spectrum[1024]
        return [self._peaks(spectrum(self._hann(frame))) for frame in frames_of(audio, 1024, 512)]
