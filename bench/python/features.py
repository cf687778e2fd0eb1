"""What is compared, how fast ours has to be, and with which settings."""

from dataclasses import dataclass


@dataclass(frozen=True)
class Feature:
    """One row of the tables. `target`: times as fast as the fastest peer."""

    name: str
    target: float
    shared: str
    differences: str


FEATURES = [
    Feature("MFCC", 2, "the reading: 13 coefficients of 40 mel bands up to 16 kHz, 4096 / 2048", "none"),
    Feature("MFCC key", 2, "13 numbers of 13 bands from 133 to 1071 Hz, 4096 / 2048",
            "our table of cosines is one of its own; the peers' is the DCT-II"),
    Feature("chroma with key", 2, "12 pitch classes, 8192 / 512, no tuning, one key for all frames",
            "essentia: from spectral peaks up to 5 kHz; librosa has no key: the best of 24 correlations with the "
            "mean chroma"),
    Feature("constant-Q", 2, "212 bins from 90 Hz, 36 per octave, hop 1024, Hamming windows",
            "our kernels end after 8192 samples; librosa: the quickest of its three calls, hybrid_cqt; essentia: "
            "frames of 32768"),
    Feature("onsets", 2, "times of onsets",
            "each its own method: ours 33 gammatone bands at every sample; librosa mel flux at hop 512; essentia "
            "two curves at hop 512"),
    Feature("tempo with beats", 2, "one tempo, and the times of beats",
            "each its own method; ours at hop 128, the peers at hop 512 to 1024; essentia: the quicker one, degara"),
    Feature("partials", 2, "peaks of each spectrum with interpolated frequency and magnitude, 1024 / 512",
            "ours are tracked from frame to frame; librosa: piptrack, threshold 1/500, a matrix with zeros; "
            "essentia: at most 512 peaks"),
    Feature("reassigned spectrogram", 2, "Hann window, 512 / 64",
            "ours adds values up in their new bins; librosa returns the new positions; essentia has none"),
]

TOGETHER = Feature("all at once", 3, "one call of ours for the keys of all rows but the first",
                   "the peers: the sum of the fastest peer of each of these rows")
