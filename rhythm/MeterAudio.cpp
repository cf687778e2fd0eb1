#include "rhythm/MeterAudio.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "rhythm/ButterworthLowPass.h"
#include "rhythm/DecimatingFilter.h"
#include "support/SRCFilter.h"

namespace qel::core {

namespace {

// The resampler passes up to 0.94 of half its rate and stops from 1.06 of it on.
constexpr float kPassShare = 0.94f;
constexpr double kStopBandDecibels = 73.0;
// Values that are formed at a time, so that they share the loads of taps and samples.
constexpr std::size_t kValuesPerRun = 32;
// Lengths of the filter that there is room for, so that samples are moved down now and then only.
constexpr std::size_t kRoomInFilters = 2;

KaiserBesselFilterParameters ResamplerDesign(double sampleRateHz) {
    constexpr auto kRate = static_cast<float>(MeterAudio::kRateHz);
    const auto pass = static_cast<double>(kRate * kPassShare);
    const auto transition =
        static_cast<double>(kRate * ((1.0f - kPassShare) + (1.0f - kPassShare)));
    return {pass / sampleRateHz, kStopBandDecibels, transition / sampleRateHz, 0u};
}

bool HasSignal(double sampleRateHz) {
    return sampleRateHz >= MeterAudio::kRateHz && sampleRateHz < 4294967296.0;
}

} // namespace

MeterAudio::MeterAudio(UInt32 channels, double sampleRateHz)
    : mSampleRateHz(sampleRateHz), mChannels(channels) {
    if (HasSignal(sampleRateHz))
        mTaps = ResamplerDesign(sampleRateHz).filterLength;
}

MeterAudio::~MeterAudio() = default;

void MeterAudio::RectifyAndSmooth(const float* samples, std::size_t n, State& state, float* out) {
    auto [z0, z1, z2, z3, z4, z5] = state;
    for (std::size_t i = 0; i < n; ++i) {
        const float x = std::abs(samples[i]);
        const float y = z0 + butterB[0] * x;
        z0 = (butterB[1] * x + z1) - y * butterA[1];
        z1 = (butterB[2] * x + z2) - y * butterA[2];
        z2 = (butterB[3] * x + z3) - y * butterA[3];
        z3 = (butterB[4] * x + z4) - y * butterA[4];
        z4 = (butterB[5] * x + z5) - y * butterA[5];
        z5 = butterB[6] * x - y * butterA[6];
        out[i] = y;
    }
    state = {z0, z1, z2, z3, z4, z5};
}

void MeterAudio::Push(const AudioBufferList& list, UInt32 frames) {
    if (mTaps == 0 || frames == 0)
        return;
    MakeRoom(frames);
    for (std::size_t c = 0; c < mChannels.size(); ++c) {
        Channel& channel = mChannels[c];
        const std::size_t kept = channel.samples.size();
        channel.samples.resize(kept + frames);
        if (c < list.mNumberBuffers)
            RectifyAndSmooth(static_cast<const float*>(list.mBuffers[c].mData), frames,
                             channel.state, channel.samples.data() + kept);
    }
    mFrames += frames;
    Resample(kValuesPerRun);
}

// Sees to it that every channel has room for `frames` more samples, by dropping those that no value
// to come reaches.
void MeterAudio::MakeRoom(std::size_t frames) {
    for (Channel& channel : mChannels) {
        std::vector<float>& samples = channel.samples;
        if (channel.samples.size() + frames <= samples.capacity())
            continue;
        if (mResampler != nullptr) {
            const std::size_t unneeded = PlaceOf(channel.signal.size()) - channel.dropped;
            samples.erase(samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(unneeded));
            channel.dropped += unneeded;
        }
        if (samples.size() + frames > samples.capacity())
            samples.reserve(std::max(samples.size() + frames, 2 * samples.capacity()));
    }
}

// Puts the silence before the first sample in front of what there is.
void MeterAudio::DesignResampler() {
    auto resampler = std::make_unique<SRCFilter>(1, static_cast<UInt32>(mSampleRateHz), kRateHz,
                                                 ResamplerDesign(mSampleRateHz));
    for (Channel& channel : mChannels)
        channel.samples.reserve(std::max(channel.samples.size() + mTaps, kRoomInFilters * mTaps));
    for (Channel& channel : mChannels)
        channel.samples.insert(channel.samples.begin(), mTaps - 1, 0.0f);
    mResampler = std::move(resampler);
}

// The first sample that value n of the signal is made of; one with mTaps - 1 samples of silence in
// front is sample mTaps - 1.
std::size_t MeterAudio::PlaceOf(std::size_t n) const {
    return n * mResampler->DownFactor() / mResampler->UpFactor();
}

// Appends the values whose last sample is there, in whole runs of `runLength`.
void MeterAudio::Resample(std::size_t runLength) {
    if (mChannels.empty() || mFrames == 0 || mFrames < mTaps - 1)
        return;
    if (mResampler == nullptr)
        DesignResampler();
    const std::size_t up = mResampler->UpFactor();
    const std::size_t down = mResampler->DownFactor();
    const std::size_t there = (mFrames * up + (down - 1)) / down;
    const std::size_t end = there - (there - mChannels.front().signal.size()) % runLength;
    for (Channel& channel : mChannels) {
        const std::size_t first = channel.signal.size();
        channel.signal.resize(end);
        if (up == 1) {
            AppendRun(channel, first, end);
        } else {
            for (std::size_t n = first; n < end; ++n)
                AppendRun(channel, n, n + 1);
        }
    }
}

// Forms the values from first below end, which are of one branch, `down` samples apart.
void MeterAudio::AppendRun(Channel& channel, std::size_t first, std::size_t end) const {
    const std::size_t down = mResampler->DownFactor();
    const float* const branch =
        mResampler->Branch(0, static_cast<UInt32>(first * down % mResampler->UpFactor()));
    const float* const samples = channel.samples.data() + (PlaceOf(first) - channel.dropped);
    DecimatingFilter(branch, mTaps, samples, down, end - first, &channel.signal[first]);
}

std::vector<std::vector<float>> MeterAudio::Signals() {
    Resample(1);
    UInt32 length = 0;
    if (mResampler != nullptr)
        mResampler->GetNumberOfOutFrames(
            &length, static_cast<UInt32>(
                         std::min<std::size_t>(mFrames, std::numeric_limits<UInt32>::max())));
    std::vector<std::vector<float>> signals;
    for (const Channel& channel : mChannels) {
        signals.push_back(channel.signal);
        signals.back().resize(length);
    }
    return signals;
}

} // namespace qel::core
