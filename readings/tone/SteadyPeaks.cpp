#include "readings/tone/SteadyPeaks.h"

#include <algorithm>
#include <cmath>

namespace qel::readings {
namespace {

constexpr double kLowestHz = 65;
constexpr double kHighestHz = 2000; // above, drums and high harmonics tell less about the key
constexpr float kQuietest = 0.02f;  // a sine of amplitude 1 has 2048: -100 dB
constexpr double kSteadyBins = 0.2; // how far a peak may move: noise does so 9 times of 10
constexpr float kUnsteadyShare = 0.15f;
constexpr double kNowhere = -9; // far from all bins

// How far the vertex of the parabola through the logarithms is from bin `k`.
double shiftOf(std::span<const float> magnitudes, std::size_t k) {
    const float here = magnitudes[k];
    const double left = std::log(double{magnitudes[k - 1]} / here + 1e-6);
    const double right = std::log(double{magnitudes[k + 1]} / here + 1e-6);
    const double bend = left + right;
    return bend < 0 ? (left - right) / (2 * bend) : 0;
}

} // namespace

SteadyPeaks::SteadyPeaks(double binHz)
    : mBinHz(binHz), mBefore(static_cast<std::size_t>(kHighestHz / binHz) + 3, kNowhere),
      mHere(mBefore) {}

void SteadyPeaks::reset() {
    std::ranges::fill(mBefore, kNowhere);
}

bool SteadyPeaks::isSteady(std::size_t bin, double place) const {
    const auto near = std::span(mBefore).subspan(bin - 1, 3);
    return std::ranges::any_of(
        near, [&](double before) { return std::abs(place - before) < kSteadyBins; });
}

std::span<const SteadyPeaks::Peak> SteadyPeaks::find(std::span<const float> magnitudes) {
    const auto first =
        std::max<std::size_t>(static_cast<std::size_t>(std::ceil(kLowestHz / mBinHz)), 1);
    const std::size_t end = std::min(mBefore.size() - 2, magnitudes.size() - 1);
    mPeaks.clear();
    std::ranges::fill(mHere, kNowhere);
    for (std::size_t k = first; k < end; ++k) {
        const float here = magnitudes[k];
        if (here < kQuietest || here <= magnitudes[k - 1] || here < magnitudes[k + 1]) {
            continue;
        }
        mHere[k] = static_cast<double>(k) + shiftOf(magnitudes, k);
        const float share = isSteady(k, mHere[k]) ? 1 : kUnsteadyShare;
        mPeaks.push_back({mHere[k] * mBinHz, share * std::sqrt(here)});
    }
    std::swap(mBefore, mHere);
    return mPeaks;
}

} // namespace qel::readings
