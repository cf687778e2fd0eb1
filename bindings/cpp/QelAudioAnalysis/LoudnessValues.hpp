/*
 * Values of the keys about levels.
 */
#pragma once

#include <QelAudioAnalysis/KeyInfo.hpp>

#include <limits>

namespace qel {

/* The markers of what was not found are no values: they lie outside of these ranges. */
inline constexpr ValueInfo kAudioRangeValues[] = {
    {"headroom",
     "full scale",
     {0, 1},
     "How far the samples stay below full scale, as a fraction: 1 - |x|, where x is the edge, on a "
     "grid of 1/511 from -1 on, that the loudest negative samples reach. All samples are counted "
     "in 1024 classes of that width; classes are taken from both ends in step until they hold "
     "0.025% of the samples, and x lies up to two classes below the last one that was taken from "
     "the negative end. Deliberately, the positive side decides only when to stop. 0 where samples "
     "reach -0.998. Always found.",
     ""},
    {"noise floor",
     "dB",
     {-198, 20},
     "The level of the ten highest bins of the stream's typical spectrum, found where no bin from "
     "the fifth up lies more than 6 dB below it: it takes noise that is as strong at the top of "
     "the band as anywhere. White noise of variance v gives 10 lg(2 v) - 1.6 dB, the median of "
     "its frames, less 1.5 to 2.5 dB, as levels are counted in classes of 1 dB whose lower "
     "neighbours are taken, deliberately. 100 marks that there is none.",
     ""},
    {"cutoff",
     "Hz",
     {0, 1, true},
     "Where the typical spectrum falls off steeply, as lossy coding and band limits leave it: the "
     "steepest place of the first fall, seen from above, of more than 0.005 dB per Hz that goes "
     "on, in its mean over 11 bins, with four fifths of that. Bins are rate / 1024 apart, and the "
     "fall is smoothed over 35 of them. Looked for above a quarter of the rate only. -1 marks that "
     "there is none.",
     ""},
};

} // namespace qel
