#include "readings/tone/MelCepstrum.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <stdexcept>

namespace qel::readings {
namespace {

constexpr double kLeastPower = 1e-10;

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
        Filter filter{static_cast<std::size_t>(std::ceil(left / binHz)), {}};
        for (std::size_t k = filter.firstBin; k < bins; ++k) {
            const double hz = static_cast<double>(k) * binHz;
            if (hz > right) {
                break;
            }
            const double slope = std::min((hz - left) / (top - left), (right - hz) / (right - top));
            filter.weights.push_back(static_cast<float>(std::max(slope, 0.0) * 2 / (right - left)));
        }
        mFilters.push_back(std::move(filter));
    }
}

void MelCepstrum::makeCosines() {
    const double bands = mSettings.n_mels;
    for (std::uint32_t c = 0; c < mSettings.n_mfcc; ++c) {
        const double norm = std::sqrt((c == 0 ? 1 : 2) / bands);
        const double lift =
            mSettings.lifter > 0
                ? 1 + mSettings.lifter / 2 * std::sin(std::numbers::pi * (c + 1) / mSettings.lifter)
                : 1;
        for (std::uint32_t band = 0; band < mSettings.n_mels; ++band) {
            const double angle = std::numbers::pi * c * (2.0 * band + 1) / (2 * bands);
            mCosines.push_back(static_cast<float>(norm * lift * std::cos(angle)));
        }
    }
}

void MelCepstrum::add(std::span<const float> magnitudes, float scale) {
    for (const Filter& filter : mFilters) {
        double power = 0;
        for (std::size_t i = 0; i < filter.weights.size(); ++i) {
            const double m = double{magnitudes[filter.firstBin + i]} * scale;
            power += filter.weights[i] * m * m;
        }
        mDecibels.push_back(static_cast<float>(10 * std::log10(std::max(power, kLeastPower))));
    }
}

Timbre MelCepstrum::finish(double frameSeconds, double hopSeconds) const {
    Timbre timbre{mSettings.n_mfcc, frameSeconds, hopSeconds, {}};
    if (mDecibels.empty()) {
        return timbre;
    }
    const std::size_t bands = mSettings.n_mels;
    const double least = *std::ranges::max_element(mDecibels) - mSettings.top_db;
    for (std::size_t first = 0; first < mDecibels.size(); first += bands) {
        for (std::size_t c = 0; c < mSettings.n_mfcc; ++c) {
            double sum = 0;
            for (std::size_t band = 0; band < bands; ++band) {
                sum +=
                    std::max<double>(mDecibels[first + band], least) * mCosines[c * bands + band];
            }
            timbre.values.push_back(static_cast<float>(sum));
        }
    }
    return timbre;
}

} // namespace qel::readings
