#include "rhythm/beats/MeterResampler.h"

#include "support/audio/FilterDesign.h"

#include <algorithm>
#include <limits>

namespace qel::core {

namespace {

// The resampler passes up to 0.94 of half its rate and stops from 1.06 of it on.
constexpr float kPassShare = 0.94f;
constexpr double kStopBandDecibels = 73.0;
// Of the values of a declared stream, over all channels.
constexpr UInt64 kTrustedValues = UInt64{1} << 28;
// Of those of a stream of unknown length: six minutes of one channel. To get memory takes several
// times as long as a push.
constexpr UInt64 kUsualValues = UInt64{6} * 60 * MeterResampler::kRateHz;

KaiserBesselFilterParameters Design(double sampleRateHz) {
    constexpr auto kRate = static_cast<float>(MeterResampler::kRateHz);
    const auto pass = static_cast<double>(kRate * kPassShare);
    const auto transition =
        static_cast<double>(kRate * ((1.0f - kPassShare) + (1.0f - kPassShare)));
    return {pass / sampleRateHz, kStopBandDecibels, transition / sampleRateHz, 0u};
}

bool HasFilter(double sampleRateHz) {
    return sampleRateHz >= MeterResampler::kRateHz && sampleRateHz < 4294967296.0;
}

// Values between two samples are of different branches of the filter, and share nothing.
std::size_t RunLength(std::size_t up) {
    return up == 1 ? DecimatingRun::kMostValues : 1;
}

} // namespace

UInt32 MeterResampler::Taps(double sampleRateHz) {
    return HasFilter(sampleRateHz) ? Design(sampleRateHz).filterLength : 0;
}

UInt64 MeterResampler::Coefficients(double sampleRateHz) {
    if (!HasFilter(sampleRateHz)) {
        return 0;
    }
    const UInt32 branches = kRateHz / GCD(static_cast<UInt32>(sampleRateHz), kRateHz);
    return UInt64{branches} * Taps(sampleRateHz);
}

MeterResampler::MeterResampler(UInt32 channels, double sampleRateHz, UInt64 declaredFrames)
    : mTaps(Taps(sampleRateHz)),
      mFilter(1, static_cast<UInt32>(sampleRateHz), kRateHz, Design(sampleRateHz)),
      mUp(mFilter.UpFactor()), mDown(mFilter.DownFactor()), mRunLength(RunLength(mUp)) {
    // A run is finished before the next one but one begins.
    const std::size_t length = mTaps + PlaceOf(2 * mRunLength) + kMostFrames + 1;
    const UInt64 declaredValues = declaredFrames * mUp / mDown + mRunLength;
    for (UInt32 c = 0; c < channels; ++c) {
        Channel& channel = mChannels.emplace_back(length, NewRun(), mTaps, channels);
        if (declaredFrames != 0) {
            channel.signal.Reserve(std::min(declaredValues, kTrustedValues / channels));
        } else {
            channel.signal.Reserve(std::max(kUsualValues / channels, UInt64{1}));
        }
    }
}

void MeterResampler::Reset() {
    mFrames = 0;
    mValues = 0;
    for (Channel& channel : mChannels) {
        channel.samples.Clear();
        channel.signal.Clear();
        channel.run = NewRun();
    }
}

void MeterResampler::WarmUp() {
    for (Channel& channel : mChannels) {
        channel.run.AddSlice(BranchOf(0), channel.samples.From(0));
        channel.run = NewRun();
    }
}

// The first sample that a value is made of, in a stream with mTaps - 1 samples of silence in front.
std::size_t MeterResampler::PlaceOf(std::size_t value) const {
    return value * mDown / mUp;
}

// The frames with which the last sample of a value has come.
std::size_t MeterResampler::FramesUntil(std::size_t value) const {
    return PlaceOf(value) + 1;
}

const float* MeterResampler::BranchOf(std::size_t value) const {
    return mFilter.Branch(0, static_cast<UInt32>(value * mDown % mUp));
}

// How far the run should be: at 0 when its last sample has come, and through when that of the next
// run has.
std::size_t MeterResampler::DueTaps() const {
    const std::size_t last = mValues + mRunLength - 1;
    const std::size_t begin = FramesUntil(last);
    const std::size_t end = FramesUntil(last + mRunLength);
    return mFrames >= end ? mTaps : (mTaps * (mFrames - begin) + (end - begin - 1)) / (end - begin);
}

void MeterResampler::Advance(std::size_t frames) {
    mFrames += frames;
    FormDueValues(false);
}

void MeterResampler::FormDueValues(bool all) {
    while (!mChannels.empty() && mFrames >= FramesUntil(mValues + mRunLength - 1)) {
        const std::size_t due = all ? mTaps : DueTaps();
        for (Channel& channel : mChannels) {
            while (channel.run.TapsDone() < due) {
                channel.run.AddSlice(BranchOf(mValues), channel.samples.From(PlaceOf(mValues)));
            }
        }
        if (due < mTaps) {
            return;
        }
        FinishRun();
    }
}

void MeterResampler::FinishRun() {
    for (Channel& channel : mChannels) {
        float values[DecimatingRun::kMostValues];
        channel.run.Finish(values);
        const auto bytes = static_cast<UInt32>(mRunLength * sizeof(float));
        const AudioBufferList list{1, {{1, bytes, values}}};
        channel.signal.Store(list, static_cast<UInt32>(mRunLength), mValues);
    }
    for (Channel& channel : mChannels) {
        channel.run = NewRun();
    }
    mValues += mRunLength;
}

std::vector<std::vector<float>> MeterResampler::Signals() {
    FormDueValues(true);
    const std::size_t there = (mFrames * mUp + (mDown - 1)) / mDown;
    UInt32 length = 0;
    mFilter.GetNumberOfOutFrames(&length, static_cast<UInt32>(std::min<std::size_t>(
                                              mFrames, std::numeric_limits<UInt32>::max())));
    std::vector<std::vector<float>> signals;
    for (const Channel& channel : mChannels) {
        std::vector<float>& signal = signals.emplace_back(there);
        channel.signal.Copy(0, 0, mValues, signal.data());
        // What there is of a run that is not complete. It is formed again when the run is.
        DecimatingFilter(BranchOf(mValues), mTaps, channel.samples.From(PlaceOf(mValues)), mDown,
                         there - mValues, signal.data() + mValues);
        signal.resize(length);
    }
    return signals;
}

} // namespace qel::core
