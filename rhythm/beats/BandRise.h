#pragma once

#include <cstddef>

namespace qel::core {

// How much louder the bands of a spectrum have become: the mean over the bands of the rise of their
// levels in decibels, where a fall counts as 0, and levels end 80 dB below the highest one.
//
// logEnergies  decimal logarithms of the bands
// levels       the levels in decibels of the spectrum before; receives those of this one
// bands        a multiple of kBandRiseStep
//
// Sums are formed in single precision in an order that is the same on every processor. Any thread;
// no allocation.
float BandRise(const float* logEnergies, float* levels, std::size_t bands);

// The mean of the first `count` values, a multiple of kBandRiseStep above 0. Any thread; no
// allocation.
float LowestMean(const float* values, std::size_t count);

inline constexpr std::size_t kBandRiseStep = 8;

} // namespace qel::core
