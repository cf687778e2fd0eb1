#include "readings/tone/MelCepstrum.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <numbers>
#include <stdexcept>

namespace qel::readings {
namespace {

constexpr double kLeastPower = 1e-10;

// The sums of a filter. Their number and order are those of the program, whatever the processor
// has, so that the result is the same everywhere.
constexpr std::size_t kLanes = 8;

// Slaney's scale is linear up to 1000 Hz, with 3 mel per 200 Hz, and logarithmic above, where 27
// mel are a factor of 6.4.
constexpr double kLinearHzPerMel = 200.0 / 3;
constexpr double kCornerHz = 1000;
constexpr double kCornerMel = kCornerHz / kLinearHzPerMel;
const double kLogStep = std::log(6.4) / 27;

double melOf(double hz, bool htk) {
    if (htk) {
        return 2595 * std::log10(1 + hz / 700);
    }
    return hz < kCornerHz ? hz / kLinearHzPerMel : kCornerMel + std::log(hz / kCornerHz) / kLogStep;
}

double hzOf(double mel, bool htk) {
    if (htk) {
        return 700 * (std::pow(10.0, mel / 2595) - 1);
    }
    return mel < kCornerMel ? mel * kLinearHzPerMel
                            : kCornerHz * std::exp(kLogStep * (mel - kCornerMel));
}

// `count`: a multiple of the lanes.
double productSum(const float* a, const double* b, std::size_t count) {
    std::array<double, kLanes> sums{};
    for (std::size_t i = 0; i < count; i += kLanes) {
        for (std::size_t lane = 0; lane < kLanes; ++lane) {
            sums[lane] += a[i + lane] * b[i + lane];
        }
    }
    for (std::size_t half = kLanes / 2; half > 0; half /= 2) {
        for (std::size_t lane = 0; lane < half; ++lane) {
            sums[lane] += sums[lane + half];
        }
    }
    return sums[0];
}

} // namespace

MelCepstrum::MelCepstrum(const TimbreSettings& settings, std::size_t bins, double binHz)
    : mSettings(settings) {
    const double highest =
        settings.fmax > 0 ? settings.fmax : std::min(static_cast<double>(bins) * binHz, 16000.0);
    const bool isUsable = settings.n_mels >= 1 && settings.n_mels <= 512 && settings.n_mfcc >= 1 &&
                          settings.n_mfcc <= settings.n_mels && settings.fmin >= 0 &&
                          settings.fmax >= 0 && settings.fmin < highest &&
                          highest <= static_cast<double>(bins) * binHz &&
                          std::isfinite(settings.lifter) && settings.top_db >= 0 &&
                          (settings.lifter == 0 || settings.lifter >= 1);
    if (!isUsable) {
        throw std::invalid_argument("timbre settings out of range: 1 <= n_mfcc <= n_mels <= 512, "
                                    "0 <= fmin < fmax <= half the rate, lifter 0 or 1 and more, "
                                    "top_db 0 or more");
    }
    makeFilters(bins, binHz);
    makeCosines();
}

void MelCepstrum::makeFilters(std::size_t bins, double binHz) {
    const double halfRate = static_cast<double>(bins) * binHz;
    const double fmax = mSettings.fmax > 0 ? mSettings.fmax : std::min(halfRate, 16000.0);
    const double lowest = melOf(mSettings.fmin, mSettings.htk);
    const double step = (melOf(fmax, mSettings.htk) - lowest) / (mSettings.n_mels + 1);
    for (std::uint32_t band = 0; band < mSettings.n_mels; ++band) {
        const double left = hzOf(lowest + step * band, mSettings.htk);
        const double top = hzOf(lowest + step * (band + 1), mSettings.htk);
        const double right = hzOf(lowest + step * (band + 2), mSettings.htk);
        if (!(left < top && top < right)) {
            throw std::invalid_argument(
                "timbre settings out of range: fmin and fmax are too close");
        }
        mFilters.push_back(makeFilter(left, top, right, bins, binHz));
    }
    std::size_t end = bins;
    for (const Filter& filter : mFilters) {
        end = std::max(end, filter.firstBin + filter.count);
    }
    mPowers.resize(end);
}

MelCepstrum::Filter MelCepstrum::makeFilter(double left, double top, double right, std::size_t bins,
                                            double binHz) {
    Filter filter{static_cast<std::size_t>(std::ceil(left / binHz)), mWeights.size(), 0};
    for (std::size_t k = filter.firstBin; k < bins; ++k) {
        const double hz = static_cast<double>(k) * binHz;
        if (hz > right) {
            break;
        }
        const double slope = std::min((hz - left) / (top - left), (right - hz) / (right - top));
        mWeights.push_back(static_cast<float>(std::max(slope, 0.0) * 2 / (right - left)));
        mUsedBins = std::max(mUsedBins, k + 1);
    }
    const std::size_t weights = mWeights.size() - filter.firstWeight;
    filter.count = (weights + kLanes - 1) / kLanes * kLanes;
    mWeights.resize(filter.firstWeight + filter.count);
    return filter;
}

void MelCepstrum::makeCosines() {
    const double bands = mSettings.n_mels;
    for (std::uint32_t band = 0; band < mSettings.n_mels; ++band) {
        for (std::uint32_t c = 0; c < mSettings.n_mfcc; ++c) {
            const double norm = std::sqrt((c == 0 ? 1 : 2) / bands);
            const double lift =
                mSettings.lifter > 0
                    ? 1 + mSettings.lifter / 2 *
                              std::sin(std::numbers::pi * (c + 1) / mSettings.lifter)
                    : 1;
            const double angle = std::numbers::pi * c * (2.0 * band + 1) / (2 * bands);
            mCosines.push_back(static_cast<float>(norm * lift * std::cos(angle)));
        }
    }
}

void MelCepstrum::add(std::span<const float> magnitudes, float scale) {
    std::ranges::transform(magnitudes.first(mUsedBins), mPowers.begin(), [scale](float magnitude) {
        const double scaled = double{magnitude} * scale;
        return scaled * scaled;
    });
    for (const Filter& filter : mFilters) {
        const double power = productSum(mWeights.data() + filter.firstWeight,
                                        mPowers.data() + filter.firstBin, filter.count);
        mDecibels.push_back(static_cast<float>(10 * std::log10(std::max(power, kLeastPower))));
    }
}

Timbre MelCepstrum::finish(double frameSeconds, double hopSeconds) const {
    Timbre timbre{mSettings.n_mfcc, frameSeconds, hopSeconds, {}};
    if (mDecibels.empty()) {
        return timbre;
    }
    const double least = *std::ranges::max_element(mDecibels) - mSettings.top_db;
    timbre.values.reserve(mDecibels.size() / mSettings.n_mels * mSettings.n_mfcc);
    std::vector<double> sums(mSettings.n_mfcc);
    for (auto level = mDecibels.begin(); level != mDecibels.end();) {
        std::ranges::fill(sums, 0.0);
        for (auto cosines = mCosines.begin(); cosines != mCosines.end(); ++level) {
            const double decibels = std::max<double>(*level, least);
            for (double& sum : sums) {
                sum += decibels * *cosines++;
            }
        }
        std::ranges::transform(sums, std::back_inserter(timbre.values),
                               [](double sum) { return static_cast<float>(sum); });
    }
    return timbre;
}

} // namespace qel::readings
