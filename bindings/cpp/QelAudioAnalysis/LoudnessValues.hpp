// Values of the keys about levels.
#pragma once

#include <QelAudioAnalysis/KeyInfo.hpp>

#include <limits>

namespace qel {

// The markers for "not found" are not values: they lie outside these ranges.
inline constexpr ValueInfo kAudioRangeValues[] = {
    {"headroom",
     "full scale",
     {0, 1},
     "How far the samples stay below full scale, as a fraction: 1 - |x|, where x is an edge on a "
     "grid of 1/511 from -1 upwards. All samples are counted in 1024 classes of that width. "
     "Classes are taken from both ends in step until they hold 0.025 % of the samples, and x lies "
     "up to two classes below the last class taken from the negative end. The positive side "
     "decides only when to stop. This is not peak headroom, because rare peaks are ignored. "
     "Examples: a sine of amplitude 0.89 gives 0.108 (peak headroom 0.11); the sample recording, "
     "mixed to mono, gives 0.299 (peak 0.81, so peak headroom 0.19); silence gives 0.998. 0 if "
     "samples reach -0.998. Always found.",
     ""},
    {"noise floor",
     "dB",
     {-198, 20},
     "The mean level of the ten highest bins of the typical spectrum, found only if no bin from "
     "the fifth upwards lies more than 6 dB below it. It therefore measures noise that is as "
     "strong at the top of the band as anywhere. Reference: 0 dB is the level per bin of white "
     "noise with variance 0.5, the power of a full-scale sine, before the median. White noise of "
     "variance v gives 10 lg(2 v) - 1.6 dB (the median of its frames), less 1.5 to 2.5 dB, "
     "because levels are counted in classes of 1 dB and the lower neighbour is taken. Example: "
     "white noise of root mean square 0.1 gives -20.5 dB. 100 if there is none.",
     ""},
    {"cutoff",
     "Hz",
     {0, 1, true},
     "Where the typical spectrum falls off steeply, as lossy coding and band limits leave it. The "
     "search goes from the top of the band downwards and stops at the first place where the fall "
     "has a local maximum of more than 0.005 dB per Hz. The value is the frequency of that place "
     "if the mean fall over the 11 bins around it exceeds four fifths of the maximum; otherwise "
     "there is none. Bins are rate / 1024 apart, and the spectrum is smoothed over 35 of them. "
     "The search ends at a quarter of the rate, so a value near rate / 4 means that the limit is "
     "there or below. Examples at 44100 Hz: noise limited to 16000 Hz gives 16150; noise limited "
     "to 9000 Hz gives 11068, near rate / 4 = 11025. -1 if there is none.",
     ""},
};

} // namespace qel
