"""librosa with the settings that it comes with; the key by profiles, as it has no key of its own."""

# Krumhansl and Kessler's ratings of tones in a key, from Krumhansl, Cognitive Foundations of Musical Pitch, 1990.
MAJOR = (6.35, 2.23, 3.48, 2.33, 4.38, 4.09, 2.52, 5.19, 2.39, 3.66, 2.29, 2.88)
MINOR = (6.33, 2.68, 3.52, 5.38, 2.60, 3.53, 2.54, 4.75, 3.98, 2.69, 3.34, 3.17)
NAMES = ("C", "C#", "D", "D#", "E", "F", "F#", "G", "G#", "A", "A#", "B")


class Librosa:
    name = "librosa"

    def __init__(self):
        import librosa
        import numpy
        self._librosa, self._numpy = librosa, numpy
        self.version = librosa.__version__

    def analyze(self, path, wants):
        audio, rate = self._librosa.load(path)
        answers = {}
        if "tempo" in wants or "beats" in wants:
            tempo, beats = self._librosa.beat.beat_track(y=audio, sr=rate, units="time")
            answers.update(tempo=float(self._numpy.atleast_1d(tempo)[0]) or None, beats=beats.tolist())
        if "onsets" in wants:
            answers["onsets"] = self._librosa.onset.onset_detect(y=audio, sr=rate, units="time").tolist()
        if "key" in wants:
            answers["key"] = self.key(self._librosa.feature.chroma_cqt(y=audio, sr=rate).mean(axis=1))
        if "f0" in wants:
            answers["f0"] = self.pitch(audio, rate)
        return {want: answers[want] for want in wants if want in answers}

    def key(self, chroma):
        def fit(tonic, profile):
            return self._numpy.corrcoef(self._numpy.roll(profile, tonic), chroma)[0, 1]
        fits = {f"{NAMES[tonic]} {mode}": fit(tonic, profile) for tonic in range(12)
                for mode, profile in (("major", MAJOR), ("minor", MINOR))}
        return max(fits, key=fits.get)

    def pitch(self, audio, rate):
        hertz, voiced, _ = self._librosa.pyin(audio, sr=rate, fmin=60.0, fmax=1300.0, fill_na=None)
        signed = self._numpy.where(voiced, hertz, -hertz)
        return {"times": self._librosa.times_like(hertz, sr=rate).tolist(), "hz": signed.tolist()}
