"""Essentia's standard extractors with the settings that they come with."""

from bench.truth.systems import with_sharps


class Essentia:
    name = "essentia"

    def __init__(self):
        import essentia
        import essentia.standard
        essentia.log.infoActive = False
        essentia.log.warningActive = False
        self._standard = essentia.standard
        self.version = essentia.__version__

    def analyze(self, path, wants):
        audio = self._standard.MonoLoader(filename=str(path), sampleRate=44100)()
        answers = {}
        if "tempo" in wants or "beats" in wants:
            tempo, beats, _, _, _ = self._standard.RhythmExtractor2013(method="multifeature")(audio)
            answers.update(tempo=float(tempo) or None, beats=beats.tolist())
        if "key" in wants:
            tonic, mode, _ = self._standard.KeyExtractor()(audio)
            answers["key"] = with_sharps(f"{tonic} {mode}")
        if "onsets" in wants:
            answers["onsets"] = self._standard.OnsetRate()(audio)[0].tolist()
        if "f0" in wants:
            answers["f0"] = self.pitch(audio)
        return {want: answers[want] for want in wants if want in answers}

    def pitch(self, audio):
        """PitchMelodia: PitchYinProbabilistic had 34 % of the frames right here, the rest at subharmonics.

        Frame k is centred on k hops, so its time needs no offset."""
        hop = 128
        hertz, _ = self._standard.PitchMelodia(hopSize=hop)(audio)
        return {"times": [index * hop / 44100.0 for index in range(len(hertz))], "hz": [float(each) for each in hertz]}
