// Values of the keys about pitch and musical keys.
#pragma once

#include <QelAudioAnalysis/KeyInfo.hpp>

#include <limits>

namespace qel {

namespace detail {

inline constexpr Range kPitchMagnitude{0, std::numeric_limits<double>::infinity()};

// Text has no range.
inline constexpr Range kText{-std::numeric_limits<double>::infinity(),
                             std::numeric_limits<double>::infinity()};

} // namespace detail

inline constexpr ValueInfo kConstantQValues[] = {
    {"constant q magnitude", "full scale", detail::kPitchMagnitude,
     "Magnitude of bin k. A sine of amplitude 1 at the centre of a bin gives 0.27 there if the "
     "kernel fits into the frame. If the kernel is longer, the frame covers only its soft "
     "beginning, and low tones are weak: 0.055 in bin 0 at 44100 Hz.",
     "after Brown, Calculation of a constant Q spectral transform, J. Acoust. Soc. Am. 89(1), "
     "1991, and Brown and Puckette, An efficient algorithm for the calculation of a constant Q "
     "transform, J. Acoust. Soc. Am. 92(5), 1992, with a frame as long as the longest kernel"},
};

inline constexpr ValueInfo kHarmonicPitchClassProfileValues[] = {
    {"harmonic pitch class magnitude", "full scale", detail::kPitchMagnitude,
     "Sum of the magnitudes of the bins b, b + 36, b + 72 and so on of \"constant q spectrum\": "
     "six octaves for the places 0 to 31, five for 32 to 35. It is not normalized and grows with "
     "the level. Despite its name, harmonics do not count for their fundamental.",
     "Harte and Sandler, Automatic chord identification using "
     "a quantised chromagram, AES 118th Convention, 2005"},
};

inline constexpr ValueInfo kDominantKeyValues[] = {
    {"dominant key", "name", detail::kText,
     "The name of the greatest of the 24 values of \"pitch class porofile key correlation\" "
     "(sic); the first one if several are equal. The major keys are \"C Major\", \"C# Major\", "
     "\"D Major\", \"D# Major\", \"E Major\", \"F major\", \"F# major\", \"G Major\", \"G# "
     "Major\", \"A Major\", \"A# Major\" and \"B Major\". The minor keys, in the same order, are "
     "\"C Minor\" to \"B Minor\". \"F major\" and \"F# major\" are in lower case; compare names "
     "without regard to case. Silence, whose correlations are all 0, gives \"C Major\", and so "
     "does a frame with a sample that is infinite or not a number.",
     ""},
};

inline constexpr ValueInfo kPitchClassProfileValues[] = {
    {"pitch class profile",
     "1",
     {0, 1},
     "The sum of the magnitudes of pitch class p, divided by the largest of the twelve sums. Not "
     "a number, in all places, for silence and for a frame of one constant value. Example, the "
     "triad C4 E4 G4 with six harmonics per note: C 0.90, E 1.00, G 0.86, B 0.40, D 0.28, all "
     "others below 0.13.",
     "Fujishima, Realtime chord recognition of musical sound: a system using Common Lisp Music, "
     "ICMC, 1999; Bartsch and Wakefield, To catch a chorus: using chroma-based representations for "
     "audio thumbnailing, WASPAA, 2001"},
};

inline constexpr ValueInfo kKeyCorrelationValues[] = {
    {"pitch class porofile key correlation",
     "1",
     {-1, 1},
     "(sic) The cosine of the angle between \"pitch class profile\" and the profile of a key. The "
     "profile of a major key, from its tonic upwards in semitones: 0.4678, -0.25387, 0.09936, "
     "-0.33488, 0.32221, -0.063486, -0.21791, 0.4426, -0.25203, 0.12059, -0.36999, 0.039597. The "
     "profile of a minor key: 0.49021, -0.32921, 0.026797, 0.2494, -0.15248, -0.083309, -0.27245, "
     "0.41468, -0.07965, -0.11405, -0.0041909, -0.14575. These profiles sum to about 0, the "
     "profile of the frame does not: the more even it is, the smaller all 24 values are. 0 where "
     "the value would not be a number, as in silence. Example, the triad C4 E4 G4: C Major 0.67, "
     "E Minor 0.53, A Minor 0.42, G Major 0.40, C Minor 0.40.",
     "after Krumhansl, Cognitive foundations of musical pitch, Oxford University Press, 1990, and "
     "Gomez, Tonal description of polyphonic audio for music content processing, INFORMS J. "
     "Computing 18(3), 2006"},
};

inline constexpr ValueInfo kTonalCentroidValues[] = {
    {"pitch class profile tonal centroid",
     "1",
     {-1, 1},
     "The sum over the pitch classes p of P[p] r t(a p), divided by the sum of all P[p]. P is "
     "\"pitch class profile\"; t is the sine in the places 0, 2, 4 and the cosine in the places 1, "
     "3, 5; a and r depend on the circle: 7 pi / 6 and 1 in the places 0 and 1 (fifths), 3 pi / 2 "
     "and 1 in 2 and 3 (minor thirds), 2 pi / 3 and 0.5 in 4 and 5 (major thirds, which therefore "
     "lie within -0.5 and 0.5). All six are not a number if the profile is not a number, as in "
     "silence. Example: the triad C4 E4 G4 gives 0.43, 0.23, 0.33, 0.46, 0.13, -0.06.",
     "Harte, Sandler and Gasser, Detecting harmonic change in musical audio, ACM Workshop on Audio "
     "and Music Computing Multimedia, 2006"},
};

inline constexpr ValueInfo kGlobalKeyValues[] = {
    {"global key", "name", detail::kText,
     "One of the names of \"dominant key\". It is not the most frequent key. It is found in four "
     "steps: (1) the keys are numbered from 0 (\"C Major\") to 23 (\"B Minor\"); (2) m and n are "
     "the lowest and the highest number of all frames; (3) the range is divided into 24 classes of "
     "width (n - m + 1) / 24; (4) the result is the name with the number of the fullest class, the "
     "lowest one of several. This equals the most frequent key if both \"C Major\" (silence is "
     "enough) and \"B Minor\" occur, and usually another key if not. If all frames are \"G Major\" "
     "the result is \"C Major\". A stream shorter than one frame gives \"C Major\" too. To find "
     "the key of a piece, take the mean of \"pitch class porofile key correlation\" (sic) over all "
     "frames and choose the greatest of the 24 means.",
     ""},
};

} // namespace qel
