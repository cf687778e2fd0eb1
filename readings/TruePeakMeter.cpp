#include "readings/TruePeakMeter.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <new>
#include <numbers>

namespace qel::readings {
namespace {

constexpr std::size_t kTaps = 49; // of the interpolator, at the rate of its output

// How many values the library has per sample.
std::size_t factorOf(unsigned long rateHz) {
    return rateHz < 96000 ? 4 : rateHz < 192000 ? 2 : 1;
}

// A tap of the sinc in a Hann window with the zeros at the multiples of the factor.
float coefficient(std::size_t tap, std::size_t factor) {
    constexpr double kPi = std::numbers::pi;
    const double place = static_cast<double>(tap) - (kTaps - 1) / 2.0;
    const double angle = kPi * place / static_cast<double>(factor);
    const double sinc = place == 0 ? 1 : std::sin(angle) / angle;
    return static_cast<float>(sinc * (1 + std::cos(2 * kPi * place / (kTaps - 1))) / 2);
}

// Those of the values between the samples.
std::vector<std::vector<float>> phasesOf(std::size_t factor) {
    std::vector<std::vector<float>> phases(factor - 1);
    for (std::size_t tap = 0; tap + 1 < kTaps; ++tap) {
        if (tap % factor != 0) {
            phases[tap % factor - 1].push_back(coefficient(tap, factor));
        }
    }
    return phases;
}

// By the bits, whose order is that of the magnitudes: a maximum of integers runs in vector lanes.
float greatestOf(std::span<const float> samples) {
    std::int32_t greatest = 0;
    for (const float sample : samples) {
        greatest = std::max(greatest, std::bit_cast<std::int32_t>(sample) & 0x7FFFFFFF);
    }
    return std::bit_cast<float>(greatest);
}

} // namespace

void TruePeakMeter::Destroy::operator()(ebur128_state* state) const {
    ebur128_destroy(&state);
}

TruePeakMeter::TruePeakMeter(std::uint32_t channels, double sampleRateHz)
    : mChannels(channels), mRateHz(static_cast<unsigned long>(std::lround(sampleRateHz))),
      mPhases(phasesOf(factorOf(mRateHz))) {
    // Loudness is not asked for: without a place, channels pass the library's filter by.
    mState.reset(ebur128_init(channels, mRateHz, EBUR128_MODE_TRUE_PEAK));
    if (mState == nullptr) {
        throw std::bad_alloc();
    }
    for (unsigned int c = 0; c < channels; ++c) {
        ebur128_set_channel(mState.get(), c, EBUR128_UNUSED);
    }
    reset();
}

TruePeakMeter::~TruePeakMeter() = default;

void TruePeakMeter::reset() {
    mSamples.assign((kContextFrames + kBlockFrames) * mChannels, 0.0f);
    mFilled = 0;
    mLastGreatest = 0;
    mIsContextGiven = false;
    mSamplePeak = 0;
    mTruePeak = 0;
    mInterpolatedFrames = 0;
}

double TruePeakMeter::truePeak() const {
    return std::max<double>(mTruePeak, mSamplePeak);
}

std::span<const float> TruePeakMeter::block() const {
    return std::span(mSamples).subspan(kContextFrames * mChannels, mFilled);
}

void TruePeakMeter::add(std::span<const float> interleaved) {
    while (!interleaved.empty()) {
        const std::size_t count = std::min(kBlockFrames * mChannels - mFilled, interleaved.size());
        std::ranges::copy(interleaved.first(count),
                          mSamples.begin() +
                              static_cast<std::ptrdiff_t>(kContextFrames * mChannels + mFilled));
        mFilled += count;
        interleaved = interleaved.subspan(count);
        if (mFilled == kBlockFrames * mChannels) {
            takeBlock();
        }
    }
}

void TruePeakMeter::end() {
    if (mFilled > 0) {
        takeBlock();
    }
}

void TruePeakMeter::takeBlock() {
    const float greatest = greatestOf(block());
    mSamplePeak = std::max(mSamplePeak, greatest);
    const bool mayRaise = mayRaisePeak(std::max(greatest, mLastGreatest));
    if (mayRaise) {
        interpolate();
    }
    mIsContextGiven = mayRaise;
    mLastGreatest = greatest;
    std::copy_n(mSamples.begin() + static_cast<std::ptrdiff_t>(mFilled), kContextFrames * mChannels,
                mSamples.begin());
    mFilled = 0;
}

bool TruePeakMeter::mayRaisePeak(float greatest) const {
    return !mPhases.empty() && greatest * kMostGain > truePeak() &&
           estimate() + greatest * kEstimateError > truePeak();
}

// The greatest value between the samples of the block, about. Channels follow each other, so that a
// frame back is as many samples back.
float TruePeakMeter::estimate() const {
    constexpr std::size_t kLanes = 16;
    const std::size_t begin = kContextFrames * mChannels;
    float greatest = 0;
    for (std::size_t first = 0; first < mFilled; first += kLanes) {
        // The last lanes may be of samples before, whose values are known already.
        const std::size_t place = begin + std::min(first, std::max(mFilled, kLanes) - kLanes);
        for (const std::vector<float>& phase : mPhases) {
            std::array<float, kLanes> values{};
            const float* samples = &mSamples[place];
            for (const float coefficient : phase) {
                for (std::size_t i = 0; i < kLanes; ++i) {
                    values[i] += coefficient * samples[i];
                }
                samples -= mChannels;
            }
            greatest = std::max(greatest, greatestOf(values));
        }
    }
    return greatest;
}

void TruePeakMeter::interpolate() {
    if (!mIsContextGiven) {
        give(std::span(mSamples).first(kContextFrames * mChannels));
    }
    give(block());
    for (unsigned int c = 0; c < mChannels; ++c) {
        double peak = 0; // since the last call of give
        if (ebur128_prev_true_peak(mState.get(), c, &peak) == EBUR128_SUCCESS) {
            mTruePeak = std::max(mTruePeak, peak);
        }
    }
}

void TruePeakMeter::give(std::span<const float> samples) {
    const std::size_t frames = samples.size() / mChannels;
    if (ebur128_add_frames_float(mState.get(), samples.data(), frames) != EBUR128_SUCCESS) {
        throw std::bad_alloc();
    }
    mInterpolatedFrames += frames;
}

} // namespace qel::readings
