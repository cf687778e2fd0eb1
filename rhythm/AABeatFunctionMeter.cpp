// Beats per bar, from the correlation of the rectified audio with itself, and the down beats.

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

#include <Accelerate/Accelerate.h>

#include "rhythm/AABeatFunctionGenerator.h"
#include "rhythm/MeterCurve.h"
#include "rhythm/MeterMatrix.h"
#include "support/SRCFilter.h"

namespace qel::core {

namespace {

constexpr UInt32 kMeterRate = 100; // values per second
// The resampler passes up to 0.94 of half that rate and stops from 1.06 of it on.
constexpr float kPassShare = 0.94f;
constexpr double kStopBandDecibels = 73.0;

constexpr float kMatrixPercent = 15.0f;
constexpr float kSmoothingPercent = 20.0f;
constexpr float kCorrelationStart = 25.0f;
constexpr float kCorrelationSpan = 60.0f;
constexpr float kTrendPercent = 80.0f;
constexpr float kBarPercent = 90.0f;

} // namespace

SInt32 AABeatFunctionGenerator::FindBeatsPerBar() {
    const auto frames = static_cast<UInt32>(mAudioTime.mSampleTime);
    // Nobody may fetch a count of 0.
    if (frames != 0) {
        mAudioFetchList->AllocateBuffers(frames * UInt32{sizeof(float)});
        const SInt32 status =
            mAudioRing->Fetch(&mAudioFetchList->GetModifiableBufferList(), frames, 0, true);
        if (status != 0)
            return status;
    }
    const SInt32 status = FindMeters(ResampledAudio(frames));
    if (status == kStopped)
        return status;
    if (IsWanted(kBeatsPerBar)) {
        mBlocks.Prepare(mNumChannels, sizeof(UInt32));
        for (UInt32 c = 0; c < mNumChannels; ++c)
            mBlocks.Store(c, &mMeterList[c]);
        Deliver(kQelAnalysisKey_GlobalNumberOfBeatsPerBar);
    }
    return status;
}

// The fetched audio at 100 values per second, by channel. Audio shorter than the filter, or of a
// sample rate below 100 Hz, resamples to nothing.
std::vector<std::vector<float>> AABeatFunctionGenerator::ResampledAudio(UInt32 frames) {
    std::vector<std::vector<float>> output(mNumChannels);
    if (frames == 0 || !(mSampleRate >= kMeterRate && mSampleRate < 4294967296.0))
        return output;
    const auto pass = static_cast<double>(static_cast<float>(kMeterRate) * kPassShare);
    const auto transition = static_cast<double>(static_cast<float>(kMeterRate) *
                                                ((1.0f - kPassShare) + (1.0f - kPassShare)));
    const KaiserBesselFilterParameters parameters(pass / mSampleRate, kStopBandDecibels,
                                                  transition / mSampleRate, 0u);
    if (parameters.filterLength - 1 > frames)
        return output;
    const auto inputRate = static_cast<UInt32>(mSampleRate);
    SRCFilter resampler(mNumChannels, inputRate, kMeterRate, parameters);
    UInt32 outFrames = 0;
    resampler.GetNumberOfOutFrames(&outFrames, frames);

    // A run may give one value more than it says.
    const UInt64 room = UInt64{frames} * kMeterRate / inputRate + 2;
    std::vector<const float*> inputs;
    std::vector<float*> outputs;
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        inputs.push_back(Channel(mAudioFetchList, c));
        output[c].resize(room);
        outputs.push_back(output[c].data());
    }
    resampler.ComputeDeinterleaved(inputs.data(), outputs.data(), frames);
    for (std::vector<float>& channel : output)
        channel.resize(outFrames);
    return output;
}

SInt32 AABeatFunctionGenerator::FindMeters(const std::vector<std::vector<float>>& signals) {
    MeterMatrix matrix(signals.empty() ? 0 : static_cast<UInt32>(signals.front().size()));
    MeterScores scores;
    bool hasFailed = false;
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        matrix.Accumulate(signals[c].data());
        if (StopsAt(kMatrixPercent) || StopsAt(kSmoothingPercent))
            return kStopped;
        const std::vector<float> repetition = matrix.Repetition([this](UInt32 shift) {
            return !StopsAt(kCorrelationStart + (static_cast<float>(shift) /
                                                 static_cast<float>(MeterMatrix::kLagCount)) *
                                                    kCorrelationSpan);
        });
        if (repetition.empty())
            return kStopped;
        MeterCurve curve(repetition);
        curve.RemoveTrend();
        if (StopsAt(kTrendPercent))
            return kStopped;
        curve.FindBar();
        if (StopsAt(kBarPercent))
            return kStopped;
        const bool hasPeaks = curve.FindPeaks();
        if (hasPeaks)
            scores.Judge(curve);
        const UInt32 meter = scores.WeighAndChoose();
        if (meter != 0)
            mMeterList[c] = meter;
        hasFailed = hasFailed || !hasPeaks || meter == 0;
    }
    return hasFailed ? kNoMeter : 0;
}

SInt32 AABeatFunctionGenerator::FindDownBeats() {
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        const Events& beats = mBeatList[c];
        Events& downBeats = mDownBeatList[c];
        downBeats = {}; // of a call that failed
        const auto n = static_cast<UInt32>(beats.times.size());
        const UInt32 meter = mMeterList[c];
        if (meter == 0 || n == 0)
            continue;
        std::vector<vDSP_Length> order(n);
        std::iota(order.begin(), order.end(), vDSP_Length{0});
        vDSP_vsorti(beats.strengths.data(), order.data(), nullptr, n, -1);
        const auto anchor = static_cast<UInt32>(order.front());
        const auto copyBeat = [&](UInt32 i) {
            if (i < n) {
                downBeats.times.push_back(beats.times[i]);
                downBeats.strengths.push_back(beats.strengths[i]);
            }
        };
        // Both runs leave beats out, the backward one its last and, with it, the anchor itself
        // where the anchor lies within the first bar: that is meant.
        for (UInt32 k = 0; k < anchor / meter; ++k)
            copyBeat(anchor - k * meter);
        for (UInt32 k = 1; k < 1 + (n - anchor) / meter; ++k)
            copyBeat(anchor + k * meter);
    }
    if (IsWanted(kDownBeatData))
        DeliverEvents(kQelAnalysisKey_DownBeatData, mDownBeatList);
    return 0;
}

} // namespace qel::core
