#include "readings/tone/PitchClasses.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

namespace qel::readings {
namespace {

constexpr double kLowestHz = 65;
constexpr double kHighestHz = 2000; // above, drums and high harmonics tell less about the key
constexpr double kConcertPitchHz = 440;
constexpr double kClassOfConcertPitch = 9; // A, counted from C
constexpr float kQuietest = 0.02f;         // a sine of amplitude 1 has 2048: -100 dB

double wrapped(double value, double length) {
    return value - length * std::floor(value / length);
}

} // namespace

void PitchClasses::add(std::span<const float> magnitudes, double binHz) {
    const auto first = static_cast<std::size_t>(std::ceil(kLowestHz / binHz));
    const auto end =
        std::min(static_cast<std::size_t>(kHighestHz / binHz) + 1, magnitudes.size() - 1);
    for (std::size_t k = std::max<std::size_t>(first, 1); k < end; ++k) {
        const float here = magnitudes[k];
        if (here < kQuietest || here <= magnitudes[k - 1] || here < magnitudes[k + 1]) {
            continue;
        }
        // The vertex of the parabola through the logarithms.
        const double left = std::log(double{magnitudes[k - 1]} / here + 1e-6);
        const double right = std::log(double{magnitudes[k + 1]} / here + 1e-6);
        const double bend = left + right;
        const double shift = bend < 0 ? (left - right) / (2 * bend) : 0;
        const double hz = (static_cast<double>(k) + shift) * binHz;
        const double place = kClassOfConcertPitch + 12 * std::log2(hz / kConcertPitchHz);
        const double step = std::floor(kStepsPerClass * place + 0.5);
        const auto steps = static_cast<double>(mSteps.size());
        mSteps[static_cast<std::size_t>(wrapped(step, steps))] += std::sqrt(here);
    }
}

void PitchClasses::add(const PitchClasses& other) {
    for (std::size_t i = 0; i < mSteps.size(); ++i) {
        mSteps[i] += other.mSteps[i];
    }
}

// Each step is a direction: a class is a whole turn.
double PitchClasses::tuning() const {
    std::complex<double> sum = 0;
    for (std::size_t i = 0; i < mSteps.size(); ++i) {
        const double turn = static_cast<double>(i % kStepsPerClass) / kStepsPerClass;
        sum += std::polar(double{mSteps[i]}, 2 * std::numbers::pi * turn);
    }
    return std::arg(sum) / (2 * std::numbers::pi);
}

PitchClasses::Chroma PitchClasses::chroma(double tuning) const {
    Chroma chroma{};
    for (std::size_t i = 0; i < mSteps.size(); ++i) {
        const double place = static_cast<double>(i) / kStepsPerClass - tuning;
        const double nearest = std::round(place);
        const double share = std::cos(std::numbers::pi * (place - nearest)); // 0 halfway
        chroma[static_cast<std::size_t>(wrapped(nearest, kClasses))] += mSteps[i] * share * share;
    }
    return chroma;
}

} // namespace qel::readings
