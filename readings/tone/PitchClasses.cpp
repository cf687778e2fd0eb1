#include "readings/tone/PitchClasses.h"

#include <cmath>
#include <complex>
#include <numbers>

namespace qel::readings {
namespace {

constexpr double kConcertPitchHz = 440;
constexpr double kClassOfConcertPitch = 9; // A, counted from C

double wrapped(double value, double length) {
    return value - length * std::floor(value / length);
}

} // namespace

void PitchClasses::add(double hz, float weight) {
    const double place = kClassOfConcertPitch + 12 * std::log2(hz / kConcertPitchHz);
    const double step = std::floor(kStepsPerClass * place + 0.5);
    const auto steps = static_cast<double>(mSteps.size());
    mSteps[static_cast<std::size_t>(wrapped(step, steps))] += weight;
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
