#include "tests/timbre/ReferencePhases.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace qel::test {
namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kTurn = 2.0 * kPi;

// Wrapping an angle of a few turns, in single precision: some roundings of numbers below 16.
constexpr double kWrapError = 64.0 * kRoundoff;

// A sum of so many numbers of one sign, in any order.
constexpr double kSumError = 512.0 * kRoundoff;

double Wrapped(double radians) {
    return std::remainder(radians, kTurn);
}

// Above, below and at the wrapped angles that rounding may make of one: one stretch within the
// range, or two at its ends.
struct Stretch {
    double lowest;
    double highest;
};

std::vector<Stretch> Stretches(const Bounded& angle) {
    if (angle.error >= kPi) {
        return {{-kPi, kPi}};
    }
    std::vector<Stretch> stretches = {
        {std::max(angle.value - angle.error, -kPi), std::min(angle.value + angle.error, kPi)}};
    if (angle.value + angle.error >= kPi) {
        stretches.push_back({-kPi, angle.value + angle.error - kTurn});
    }
    if (angle.value - angle.error <= -kPi) {
        stretches.push_back({angle.value - angle.error + kTurn, kPi});
    }
    return stretches;
}

std::vector<Bounded> Phases(const ReferenceSpectrum& spectrum) {
    std::vector<Bounded> phases;
    double correction = 0.0;
    double rounding = 0.0; // of all corrections so far
    for (const std::complex<double>& bin : spectrum.bins) {
        const double magnitude = std::abs(bin);
        Bounded angle{magnitude == 0.0 ? 0.0 : std::arg(bin), 0.0};
        if (spectrum.error > 0.0) {
            angle.error = magnitude > 2.0 * spectrum.error
                              ? 2.0 * spectrum.error / magnitude + 4.0 * kRoundoff
                              : kPi;
        }
        if (!phases.empty()) {
            const double step = angle.value - phases.back().value;
            const double doubt = angle.error + phases.back().error + kWrapError;
            if (std::abs(step) >= kPi) {
                correction -= std::copysign(kTurn, step);
            }
            if (std::abs(step) + doubt >= kPi) {
                // Up to two turns on either side of what was counted.
                rounding += kRoundoff * (std::abs(correction) + 2.0 * kTurn);
            }
        }
        phases.push_back(angle);
        phases.back().error += rounding;
        if (correction != 0.0 || rounding != 0.0) {
            // The sum, and taking the turns out again.
            phases.back().error += 5.0 * kRoundoff * (std::abs(correction) + 2.0 * kTurn);
        }
        phases.back().error = std::min(phases.back().error, kPi);
    }
    return phases;
}

std::vector<Bounded> Differences(const std::vector<Bounded>& now,
                                 const std::vector<Bounded>& before) {
    std::vector<Bounded> differences(now.size());
    for (std::size_t i = 0; i < now.size(); ++i) {
        differences[i] = {Wrapped(before[i].value - now[i].value),
                          std::min(now[i].error + before[i].error + kWrapError, kPi)};
    }
    return differences;
}

// |magnitude - before exp(phase + difference)| at its least and at its greatest.
Stretch ComplexDifference(const Bounded& magnitude, const Bounded& before, const Bounded& phase,
                          const Bounded& difference) {
    constexpr double kExpError = 16.0 * kRoundoff; // of the exponent, up to 2 pi, and of exp
    if (before.value == 0.0 && before.error == 0.0) {
        return {std::max(magnitude.value - magnitude.error, 0.0),
                magnitude.value + magnitude.error};
    }
    Stretch range{INFINITY, 0.0};
    for (const Stretch& p : Stretches(phase)) {
        for (const Stretch& d : Stretches(difference)) {
            const double lowest = std::max(before.value - before.error, 0.0) *
                                  std::exp(p.lowest + d.lowest) * (1.0 - kExpError);
            const double highest =
                (before.value + before.error) * std::exp(p.highest + d.highest) * (1.0 + kExpError);
            const double above = magnitude.value - lowest;
            const double below = highest - magnitude.value;
            const double least = above < 0.0 ? -above : below < 0.0 ? -below : 0.0;
            range.lowest = std::min(range.lowest, std::max(least - magnitude.error, 0.0));
            range.highest = std::max(range.highest, std::max(above, below) + magnitude.error);
        }
    }
    return range;
}

} // namespace

ReferencePhases::ReferencePhases(std::size_t binCount)
    : mMagnitudes(binCount), mPhases(binCount), mDifferences(binCount) {}

ReferencePhaseValues ReferencePhases::Next(const ReferenceSpectrum& spectrum) {
    const std::vector<Bounded> magnitudes = spectrum.Magnitudes();
    const std::vector<Bounded> phases = Phases(spectrum);
    const std::vector<Bounded> first = Differences(phases, mPhases);
    const std::vector<Bounded> second = Differences(first, mDifferences);
    const auto count = static_cast<double>(magnitudes.size());
    ReferencePhaseValues values;
    Bounded sum;
    for (std::size_t i = 0; i < magnitudes.size(); ++i) {
        const auto& [magnitude, magnitudeError] = magnitudes[i];
        const double turn = std::abs(second[i].value);
        values.deviation.value += turn / count;
        values.deviation.error += (second[i].error + kSumError * turn) / count;
        values.weightedDeviation.value += magnitude * turn / count;
        values.weightedDeviation.error +=
            (magnitude * (second[i].error + kSumError * turn) + magnitudeError * kPi) / count;
        sum.value += magnitude;
        sum.error += magnitudeError + kSumError * magnitude;
        const Stretch difference =
            ComplexDifference(magnitudes[i], mMagnitudes[i], mPhases[i], mDifferences[i]);
        values.lowestDifference += difference.lowest * (1.0 - kSumError);
        values.highestDifference += difference.highest * (1.0 + kSumError);
    }
    if (sum.value > 0.0) {
        const double value = values.weightedDeviation.value / sum.value;
        values.normalizedDeviation = {value, (values.weightedDeviation.error + value * sum.error) /
                                                 sum.value};
    }
    mMagnitudes = magnitudes;
    mPhases = phases;
    mDifferences = first;
    return values;
}

} // namespace qel::test
