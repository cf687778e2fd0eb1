// Values of the keys about sinusoidal tracks.
#pragma once

#include <QelAudioAnalysis/KeyInfo.hpp>

#include <limits>

namespace qel {

namespace detail {

inline constexpr double kNoLimit = std::numeric_limits<double>::infinity();

} // namespace detail

// Of each partial of the list.
inline constexpr ValueInfo kPartialValues[] = {
    {"partial index",
     "bin",
     {0, 510},
     "The bin of the track: its position at its last peak, rounded down. A whole number.",
     ""},
    {"partial frequency Hz",
     "Hz",
     {0, 1, true},
     "The frequency of the track at its last peak: the position of the vertex in bins, multiplied "
     "by rate / 1024. For a steady sine the error is at most 0.016 bins (0.7 Hz at 44100 Hz). "
     "Example: the harmonics of a 220 Hz tone come out at 220.4, 440.6, 660.7 Hz and so on.",
     "parabola after Smith and Serra, PARSHL: an analysis/synthesis program for non-harmonic "
     "sounds based on a sinusoidal representation, ICMC, 1987"},
    {"partial magnitude",
     "magnitude",
     {0, detail::kNoLimit},
     "The height of the vertex at the last peak of the track. A sine of amplitude 1 gives 512 to "
     "531, one of amplitude 0.3 about 154.",
     ""},
    {"partial phase",
     "rad",
     {-detail::kNoLimit, detail::kNoLimit},
     "Always 0: no phase is measured.",
     ""},
    {"partial time",
     "frames",
     {0, detail::kNoLimit},
     "The number of the frame, from 0 since the start of the stream. It is not in seconds: "
     "multiply by 512 / rate for the start of the frame.",
     ""},
};

inline constexpr ValueInfo kFundamentalFrequencyValues[] = {
    {"fundamental frequency",
     "Hz",
     {0, 1, true},
     "The frequency of the first partial in \"partials\": the oldest living track, whatever its "
     "magnitude. 0 without a track. Example: a steady 220 Hz tone gives 220.3 Hz; white noise "
     "gives the frequency of any peak.",
     ""},
};

inline constexpr ValueInfo kInharmonicityValues[] = {
    {"inharmonicity",
     "1",
     {0, 2},
     "Sum of a 4 |r - round(r)| over all partials of \"partials\", divided by the sum of a, where "
     "a is the magnitude of a partial and r its frequency divided by \"fundamental frequency\". "
     "0: all partials are harmonics. 2: all lie half way between two harmonics. About 1: "
     "frequencies at random. 0 without a track. Example: a steady 220 Hz tone with ten harmonics "
     "gives 0.017, white noise 1.0.",
     ""},
};

} // namespace qel
