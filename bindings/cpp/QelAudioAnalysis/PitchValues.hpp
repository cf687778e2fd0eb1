/*
 * Values of the keys about pitch and musical keys.
 */
#pragma once

#include <QelAudioAnalysis/KeyInfo.hpp>

#include <limits>

namespace qel {

namespace detail {

inline constexpr Range kPitchMagnitude{0, std::numeric_limits<double>::infinity()};

/* Text has no range. */
inline constexpr Range kText{-std::numeric_limits<double>::infinity(),
                             std::numeric_limits<double>::infinity()};

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

inline constexpr ValueInfo kDominantKeyValues[] = {
    {"dominant key", "name", detail::kText,
     "The name of the greatest of the 24 values of \"pitch class porofile key correlation\", the "
     "first of several: \"C Major\", \"C# Major\", \"D Major\", \"D# Major\", \"E Major\", \"F "
     "major\", \"F# major\", \"G Major\", \"G# Major\", \"A Major\", \"A# Major\", \"B Major\", "
     "and "
     "in the same order the minor keys, \"C Minor\" to \"B Minor\". Two major keys are in lower "
     "case, deliberately. Silence, whose correlations are all 0, is \"C Major\", deliberately, and "
     "so is a frame with a sample that is infinite or not a number.",
     ""},
};

inline constexpr ValueInfo kPitchClassProfileValues[] = {
    {"pitch class profile",
     "1",
     {0, 1},
     "The sum of the magnitudes of pitch class p, divided by the largest of the twelve sums. Not a "
     "number, in all places, for silence and for a frame of one constant value.",
     "Fujishima, Realtime chord recognition of musical sound: a system using Common Lisp Music, "
     "ICMC, 1999; Bartsch and Wakefield, To catch a chorus: using chroma-based representations for "
     "audio thumbnailing, WASPAA, 2001"},
};

inline constexpr ValueInfo kKeyCorrelationValues[] = {
    {"pitch class porofile key correlation",
     "1",
     {-1, 1},
     "The cosine of the angle between \"pitch class profile\" and the profile of a key. The "
     "profiles "
     "sum to 0, that of the frame does not: the more even it is, the smaller are all 24. 0 where "
     "it "
     "would not be a number, as for silence.",
     "after Krumhansl, Cognitive foundations of musical pitch, Oxford University Press, 1990, and "
     "Gomez, Tonal description of polyphonic audio for music content processing, INFORMS J. "
     "Computing 18(3), 2006"},
};

inline constexpr ValueInfo kTonalCentroidValues[] = {
    {"pitch class profile tonal centroid",
     "1",
     {-1, 1},
     "The sum over the pitch classes p of P[p] r t(a p), divided by the sum of all P[p], where P "
     "is "
     "\"pitch class profile\", t is the sine in the places 0, 2, 4 and the cosine in 1, 3, 5, and "
     "a "
     "and r belong to a circle: 7 pi / 6 and 1 in the places 0 and 1 (fifths), 3 pi / 2 and 1 in 2 "
     "and 3 (minor thirds), 2 pi / 3 and 0.5 in 4 and 5 (major thirds), which so lie within -0.5 "
     "and 0.5. Not a number, in all places, where the profile is not.",
     "Harte, Sandler and Gasser, Detecting harmonic change in musical audio, ACM Workshop on Audio "
     "and Music Computing Multimedia, 2006"},
};

inline constexpr ValueInfo kGlobalKeyValues[] = {
    {"global key", "name", detail::kText,
     "One of the names of \"dominant key\". Read it with care: deliberately, it is no count of the "
     "keys. With the keys numbered 0 (\"C Major\") to 23 (\"B Minor\"), the range from the lowest "
     "number m to the highest n of the frames is cut into 24 classes of width (n - m + 1) / 24, "
     "and "
     "the name is that of the number of the fullest class, the lowest of several. It is the most "
     "frequent key where both \"C Major\" (silence is enough) and \"B Minor\" occur; else it is "
     "another one in most cases. If all frames are \"G Major\", it is \"C Major\", as it is "
     "without "
     "any frame. For the most frequent key, count the results of \"dominant key\".",
     ""},
};

} // namespace qel
