#include "readings/LoudnessMeter.h"

#include "readings/stream/MonoBlocks.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <new>

namespace qel::readings {
namespace {

constexpr std::size_t kMostFrames = 4096; // that are interleaved at a time
constexpr double kMomentsPerSecond = 10;
constexpr int kMode = EBUR128_MODE_I | EBUR128_MODE_LRA;

// A level in decibels; none for 0.
std::optional<double> decibels(double amplitude) {
    return amplitude > 0 ? std::optional(20 * std::log10(amplitude)) : std::nullopt;
}

// The position of a channel of 6.1 and 7.1, in the order of WAVE; none for what the library knows
// itself. Of more channels all count alike.
std::optional<int> placeOf(unsigned int channel, unsigned int channels) {
    constexpr std::array k6Point1{EBUR128_LEFT,  EBUR128_RIGHT, EBUR128_CENTER, EBUR128_UNUSED,
                                  EBUR128_Mp180, EBUR128_Mp090, EBUR128_Mm090};
    constexpr std::array k7Point1{EBUR128_LEFT,  EBUR128_RIGHT, EBUR128_CENTER, EBUR128_UNUSED,
                                  EBUR128_Mp135, EBUR128_Mm135, EBUR128_Mp090,  EBUR128_Mm090};
    if (channels == k6Point1.size()) {
        return k6Point1.at(channel);
    }
    if (channels == k7Point1.size()) {
        return k7Point1.at(channel);
    }
    return channels > k7Point1.size() ? std::optional<int>(EBUR128_CENTER) : std::nullopt;
}

} // namespace

void LoudnessMeter::Destroy::operator()(ebur128_state* state) const {
    ebur128_destroy(&state);
}

LoudnessMeter::LoudnessMeter(const Setup& setup)
    : mSetup(setup), mPeaks(setup.channels, setup.sampleRateHz),
      mInterleaved(kMostFrames * setup.channels),
      mHopFrames(static_cast<std::size_t>(std::lround(setup.sampleRateHz / kMomentsPerSecond))) {
    reset();
}

LoudnessMeter::~LoudnessMeter() = default;

void LoudnessMeter::reset() {
    mHopPlace = 0;
    mMomentary.clear();
    mPeaks.reset();
    const auto rate = static_cast<unsigned long>(std::lround(mSetup.sampleRateHz));
    mState.reset(ebur128_init(mSetup.channels, rate, kMode));
    if (mState == nullptr) {
        throw std::bad_alloc();
    }
    for (unsigned int c = 0; c < mSetup.channels; ++c) {
        if (const auto place = placeOf(c, mSetup.channels)) {
            ebur128_set_channel(mState.get(), c, *place);
        }
    }
}

// Cut where a momentary loudness is to be taken.
void LoudnessMeter::add(std::span<const float* const> channels, std::size_t frames) {
    for (std::size_t first = 0; first < frames;) {
        const std::size_t count = std::min({kMostFrames, frames - first, mHopFrames - mHopPlace});
        addPiece(channels, first, count);
        first += count;
        mHopPlace += count;
        if (mHopPlace == mHopFrames) {
            mHopPlace = 0;
            takeMomentary();
        }
    }
}

void LoudnessMeter::addPiece(std::span<const float* const> channels, std::size_t first,
                             std::size_t count) {
    for (std::size_t c = 0; c < channels.size(); ++c) {
        for (std::size_t i = 0; i < count; ++i) {
            mInterleaved[i * channels.size() + c] = usable(channels[c][first + i]);
        }
    }
    if (ebur128_add_frames_float(mState.get(), mInterleaved.data(), count) != 0) {
        throw std::bad_alloc();
    }
    mPeaks.add(std::span(mInterleaved).first(count * channels.size()));
}

void LoudnessMeter::takeMomentary() {
    double value = 0;
    ebur128_loudness_momentary(mState.get(), &value);
    mMomentary.push_back(static_cast<float>(value));
}

Loudness LoudnessMeter::finish() {
    mPeaks.end();
    Loudness loudness;
    loudness.momentaryHopSeconds = static_cast<double>(mHopFrames) / mSetup.sampleRateHz;
    loudness.momentaryLufs = mMomentary;
    loudness.truePeakDbtp = decibels(mPeaks.truePeak());
    loudness.samplePeakDbfs = decibels(mPeaks.samplePeak());
    double value = 0;
    if (ebur128_loudness_global(mState.get(), &value) == EBUR128_SUCCESS && std::isfinite(value)) {
        loudness.integratedLufs = value;
        if (ebur128_loudness_range(mState.get(), &value) == EBUR128_SUCCESS) {
            loudness.rangeLu = value;
        }
    }
    return loudness;
}

} // namespace qel::readings
