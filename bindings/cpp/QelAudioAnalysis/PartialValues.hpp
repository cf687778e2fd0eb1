/*
 * Values of the keys about sinusoidal tracks.
 */
#pragma once

#include <QelAudioAnalysis/KeyInfo.hpp>

#include <limits>

namespace qel {

namespace detail {

inline constexpr double kNoLimit = std::numeric_limits<double>::infinity();

} // namespace detail

/* Of each partial of the list. */
inline constexpr ValueInfo kPartialValues[] = {
    {"partial index",
     "bin",
     {0, 510},
     "The bin that the track lies in: its place at its last peak, rounded down. A whole number.",
     ""},
    {"partial frequency Hz",
     "Hz",
     {0, 1, true},
     "The frequency of the track at its last peak: the place of the vertex, in bins, times rate / "
     "1024. For a steady sine it is at most 0.016 bins off (0.7 Hz at 44100 Hz).",
     "parabola after Smith and Serra, PARSHL: an analysis/synthesis program for non-harmonic "
     "sounds based on a sinusoidal representation, ICMC, 1987"},
    {"partial magnitude",
     "magnitude",
     {0, detail::kNoLimit},
     "The height of the vertex at the track's last peak. A sine of amplitude 1 has 512 to 531.",
     ""},
    {"partial phase", "rad", {-detail::kNoLimit, detail::kNoLimit}, "0: no phase is measured.", ""},
    {"partial time",
     "frames",
     {0, detail::kNoLimit},
     "The number of the frame, from 0 since the stream's start. Not seconds: times 512 / rate it "
     "is the start of the frame.",
     ""},
};

inline constexpr ValueInfo kFundamentalFrequencyValues[] = {
    {"fundamental frequency",
     "Hz",
     {0, 1, true},
     "The frequency of the first partial in \"partials\", the oldest track that lives, whatever "
     "its "
     "magnitude; 0 without a track.",
     ""},
};

inline constexpr ValueInfo kInharmonicityValues[] = {
    {"inharmonicity",
     "1",
     {0, 2},
     "Sum of a 4 |r - round(r)| over all partials of \"partials\", divided by the sum of a, where "
     "a "
     "is the magnitude of a partial and r its frequency divided by \"fundamental frequency\". 0: "
     "all are harmonics; 2: all lie half way between two; about 1 for frequencies at random. 0 "
     "without a track.",
     ""},
};

} // namespace qel
