/*
 * Values of the keys about pitch.
 */
#pragma once

#include <QelAudioAnalysis/KeyInfo.hpp>

#include <limits>

namespace qel {

namespace detail {

inline constexpr Range kPitchMagnitude{0, std::numeric_limits<double>::infinity()};

} // namespace detail

inline constexpr ValueInfo kConstantQValues[] = {
    {"constant q magnitude", "full scale", detail::kPitchMagnitude,
     "Magnitude of bin k. A sine of amplitude 1 at the centre of a bin gives 0.27 there, where the "
     "kernel fits into the frame. Of longer kernels the frame meets the soft beginning only, which "
     "makes low tones weak: 0.055 in bin 0 at 44100 Hz.",
     "after Brown, Calculation of a constant Q spectral transform, J. Acoust. Soc. Am. 89(1), "
     "1991, and Brown and Puckette, An efficient algorithm for the calculation of a constant Q "
     "transform, J. Acoust. Soc. Am. 92(5), 1992, with a frame as long as the longest kernel"},
};

inline constexpr ValueInfo kHarmonicPitchClassProfileValues[] = {
    {"harmonic pitch class magnitude", "full scale", detail::kPitchMagnitude,
     "Sum of the magnitudes of the bins b, b + 36, b + 72 and so on of \"constant q spectrum\": "
     "six octaves for the places 0 to 31, five for 32 to 35. It is not normalized and grows with "
     "the level. In spite of its name harmonics do not count for their fundamental.",
     "Harte and Sandler, Automatic chord identification using a quantised chromagram, AES 118th "
     "Convention, 2005"},
};

} // namespace qel
