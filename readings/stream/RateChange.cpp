#include "readings/stream/RateChange.h"

#include <speex/speex_resampler.h>

#include <algorithm>
#include <new>
#include <numeric>

namespace qel::readings {
namespace {

// The margins let in rates that are a little off: 44.1 and 48 kHz by a clock that is not exact.
constexpr double kLowestCommonHz = 44000;
constexpr double kHighestCommonHz = 48500;
constexpr std::uint32_t kMostParts = 64; // enough for all rates from 700 Hz to 2.8 MHz

// A filter of 160 samples where the rate is halved. RateChangeTest measures what it keeps and
// stops.
constexpr int kQuality = 5;

} // namespace

RateRatio ratioToCommonRate(double sampleRateHz) {
    for (std::uint32_t sum = 2; sum <= 2 * kMostParts; ++sum) {
        for (std::uint32_t denominator = 1; denominator < sum; ++denominator) {
            const RateRatio ratio{sum - denominator, denominator};
            const double hz = sampleRateHz * ratio.value();
            if (hz >= kLowestCommonHz && hz <= kHighestCommonHz) {
                return ratio;
            }
        }
    }
    return {};
}

void RateChange::Destroy::operator()(SpeexResamplerState_* state) const {
    speex_resampler_destroy(state);
}

RateChange::RateChange(RateRatio ratio) : mRatio(ratio) {
    int status = RESAMPLER_ERR_SUCCESS;
    // The rates themselves only serve to be asked for: the ratio alone counts.
    mState.reset(speex_resampler_init_frac(1, ratio.denominator, ratio.numerator, ratio.denominator,
                                           ratio.numerator, kQuality, &status));
    if (mState == nullptr) {
        throw std::bad_alloc(); // the only way to fail: the arguments are good
    }
    reset();
}

void RateChange::reset() {
    speex_resampler_reset_mem(mState.get());
    speex_resampler_skip_zeros(mState.get());
    mTaken = 0;
    mGiven = 0;
}

std::span<const float> RateChange::add(std::span<const float> samples) {
    const double most = (static_cast<double>(samples.size()) + 1) * mRatio.value() + 1;
    mOutput.resize(static_cast<std::size_t>(most));
    std::size_t given = 0;
    std::size_t taken = 0;
    while (taken < samples.size()) {
        auto in = static_cast<spx_uint32_t>(samples.size() - taken);
        auto out = static_cast<spx_uint32_t>(mOutput.size() - given);
        speex_resampler_process_float(mState.get(), 0, &samples[taken], &in, &mOutput[given], &out);
        if (in == 0 && out == 0) {
            break; // no space: cannot be, as the output holds all
        }
        taken += in;
        given += out;
    }
    mTaken += samples.size();
    mGiven += given;
    return std::span(mOutput).first(given);
}

std::span<const float> RateChange::end() {
    const std::uint64_t all =
        (mTaken * mRatio.numerator + mRatio.denominator - 1) / mRatio.denominator;
    const std::uint64_t before = mGiven;
    const int latency = speex_resampler_get_input_latency(mState.get());
    const std::vector<float> silence(static_cast<std::size_t>(latency) + mRatio.denominator);
    const std::span<const float> rest = add(silence);
    return rest.first(std::min<std::size_t>(rest.size(), all - std::min(all, before)));
}

} // namespace qel::readings
