// The engine in the hands of a test, and what its figures are held to.
#pragma once

#include "loudness/soundcheck/NormalizationData.h"
#include "tests/loudness/soundcheck/ReferenceLoudness.h"

#include <cstdint>
#include <memory>
#include <random>
#include <span>
#include <vector>

namespace qel::test {

// Ten steps of a transform, sums over up to 512 bins and over some hundreds of excerpts, each in
// single precision, as a share of an energy.
constexpr double kEnergyTolerance = 1e-5;

// What rounding in the transform puts into bins that ought to be empty, for samples up to 1: 512
// bins of (2^23 * 3e-7)^2 at a weight of 3.2. It is a millionth of the gate.
constexpr double kRoundingEnergy = 1e4;

struct CloseNormalization {
    void operator()(core::NormalizationData* data) const { core::NormalizationClose(data); }
};
using NormalizationOwner = std::unique_ptr<core::NormalizationData, CloseNormalization>;

NormalizationOwner OpenNormalization(unsigned rateHz, unsigned channels);

using Excerpt = std::vector<float>;

// The energy of one excerpt of one channel, from a record of its own.
double EngineEnergy(unsigned rateHz, const Excerpt& excerpt);
void ExpectEnergy(double expected, double actual);

// The figures of one channel, and what is made of them at the end. The reference must not be
// nearer to a decision than rounding allows.
void ExpectFigures(const ReferenceFigures& expected, const core::NormalizationData& data,
                   unsigned channel);
void ExpectStatistics(const ReferenceFigures& expected, const core::NormalizationData& data,
                      unsigned channel);

// A sine of `bins` periods in the excerpt, with a phase.
Excerpt SineExcerpt(double bins, double amplitude, double phase = 0.3);
// The amplitude at which such a sine, of a whole number of periods, has the given energy.
double AmplitudeForEnergy(double energy, unsigned bin, unsigned rateHz);
// What a unit of energy in a bin counts.
double BinWeight(unsigned bin, unsigned rateHz);

// Between -1 and 1, the same everywhere.
double Uniform(std::mt19937& generator);

} // namespace qel::test
