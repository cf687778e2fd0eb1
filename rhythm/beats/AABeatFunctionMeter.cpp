// Beats per bar, from the correlation of the rectified audio with itself, and the down beats.

#include "engine/base/KeyFacts.h"
#include "rhythm/beats/AABeatFunctionGenerator.h"
#include "rhythm/beats/MeterCurve.h"
#include "rhythm/beats/MeterMatrix.h"
#include "rhythm/math/RhythmMath.h"

#include <Accelerate/Accelerate.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

namespace qel::core {

namespace {

constexpr float kMatrixPercent = 15.0f;
constexpr float kSmoothingPercent = 20.0f;
constexpr float kCorrelationStart = 25.0f;
constexpr float kCorrelationSpan = 60.0f;
constexpr float kTrendPercent = 80.0f;
constexpr float kBarPercent = 90.0f;

} // namespace

SInt32 AABeatFunctionGenerator::FindBeatsPerBar() {
    // Nothing was taken in if the key was asked for after the last reset.
    const SInt32 status =
        FindMeters(mMeterAudio != nullptr ? mMeterAudio->Signals()
                                          : std::vector<std::vector<float>>(mNumChannels));
    if (status == kStopped) {
        return status;
    }
    if (IsWanted(kBeatsPerBar)) {
        static_assert(KeyTable::GlobalNumberOfBeatsPerBar.payloadBytes == sizeof(UInt32));
        mBlocks.Prepare(mNumChannels, KeyTable::GlobalNumberOfBeatsPerBar.payloadBytes);
        for (UInt32 c = 0; c < mNumChannels; ++c) {
            mBlocks.Store(c, &mMeterList[c]);
        }
        Deliver(kQelAnalysisKey_GlobalNumberOfBeatsPerBar);
    }
    return status;
}

SInt32 AABeatFunctionGenerator::FindMeters(const std::vector<std::vector<float>>& signals) {
    MeterMatrix matrix(signals.empty() ? 0 : static_cast<UInt32>(signals.front().size()));
    MeterScores scores;
    bool hasFailed = false;
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        matrix.Accumulate(signals[c].data());
        if (StopsAt(kMatrixPercent) || StopsAt(kSmoothingPercent)) {
            return kStopped;
        }
        const std::vector<float> repetition = matrix.Repetition([this](UInt32 shift) {
            return !StopsAt(kCorrelationStart + (static_cast<float>(shift) /
                                                 static_cast<float>(MeterMatrix::kLagCount)) *
                                                    kCorrelationSpan);
        });
        if (repetition.empty()) {
            return kStopped;
        }
        MeterCurve curve(repetition);
        curve.RemoveTrend();
        if (StopsAt(kTrendPercent)) {
            return kStopped;
        }
        curve.FindBar();
        if (StopsAt(kBarPercent)) {
            return kStopped;
        }
        const bool hasPeaks = curve.FindPeaks();
        if (hasPeaks) {
            scores.Judge(curve);
        }
        const UInt32 meter = scores.WeighAndChoose();
        if (meter != 0) {
            mMeterList[c] = meter;
        }
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
        if (meter == 0 || n == 0) {
            continue;
        }
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
        // Required by the contract: both runs leave beats out, the backward one its last and, with
        // it, the anchor itself where the anchor lies within the first bar. Complete runs give
        // clients more downbeats.
        for (UInt32 k = 0; k < anchor / meter; ++k) {
            copyBeat(anchor - k * meter);
        }
        for (UInt32 k = 1; k < 1 + (n - anchor) / meter; ++k) {
            copyBeat(anchor + k * meter);
        }
    }
    if (IsWanted(kDownBeatData)) {
        DeliverEvents(kQelAnalysisKey_DownBeatData, mDownBeatList);
    }
    return 0;
}

} // namespace qel::core
