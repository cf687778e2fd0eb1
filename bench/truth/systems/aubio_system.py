"""aubio with the settings that it comes with."""


class Aubio:
    name = "aubio"
    HOP = 512

    def __init__(self):
        import aubio
        self._aubio = aubio
        self.version = aubio.version

    def frames(self, path):
        source = self._aubio.source(str(path), 0, self.HOP)
        while True:
            samples, read = source()
            yield samples
            if read < self.HOP:
                return

    def analyze(self, path, wants):
        rate = self._aubio.source(str(path), 0, self.HOP).samplerate
        tempo = self._aubio.tempo("default", 1024, self.HOP, rate)
        onset = self._aubio.onset("default", 1024, self.HOP, rate)
        pitch = self._aubio.pitch("default", 2048, self.HOP, rate)
        beats, onsets, times, hertz = [], [], [], []
        rhythm = "tempo" in wants or "beats" in wants
        for index, frame in enumerate(self.frames(path)):
            if rhythm and tempo(frame)[0]:
                beats.append(float(tempo.get_last_s()))
            if "onsets" in wants and onset(frame)[0]:
                onsets.append(float(onset.get_last_s()))
            if "f0" in wants:
                hertz.append(float(pitch(frame)[0]))
                times.append((index * self.HOP + self.HOP - 1024.0) / rate)
        answers = {"beats": beats, "onsets": onsets, "f0": {"times": times, "hz": hertz}}
        answers["tempo"] = self.tempo_of(beats) if rhythm else None
        return {want: answers[want] for want in wants if want in answers}

    @staticmethod
    def tempo_of(beats):
        """From the median distance of the beats."""
        distances = sorted(after - before for before, after in zip(beats, beats[1:]))
        return 60.0 / distances[len(distances) // 2] if distances else None
