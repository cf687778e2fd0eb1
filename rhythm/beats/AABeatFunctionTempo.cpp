// The driver of the final analysis, and the two tempi of a stream from the autocorrelation of its
// detection function.

#include "elementary/Functions.h"
#include "engine/base/KeyFacts.h"
#include "rhythm/beats/AABeatFunctionGenerator.h"
#include "rhythm/math/RhythmMath.h"
#include "spectral/VectorHelpers.h"

#include <Accelerate/Accelerate.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

namespace qel::core {

namespace {

constexpr float kLongestLagSeconds = 2.1f;
// One unit below the float nearest to 1 / 3. With that one, a tempo of a third of the
// lag differs in its last bit.
constexpr float kThird = 1.0f - 2.0f / 3.0f;
static_assert(std::bit_cast<std::uint32_t>(kThird) == 0x3EAAAAAA);
// Octaves of the tempo preference: its standard deviation is 1 / 0.7 of one.
constexpr float kPreferenceScale = 0.7f;

float TempoOfLag(float lag, float frameRate) {
    return kSecondsPerMinute / (lag / frameRate);
}

} // namespace

// A Gaussian in octaves about the centre tempo; the 0.1 keeps lag 0 defined.
void MakeCenteredWindow1(float* window, float frameRate, float centreTempo, unsigned int n) {
    for (unsigned int i = 0; i < n; ++i) {
        const float ratio =
            ((frameRate * kSecondsPerMinute) / (0.1f + static_cast<float>(i))) / centreTempo;
        const float u = kPreferenceScale * (elementary::Log(ratio) / elementary::Log(2.0f));
        window[i] = elementary::Exp(-0.5f * (u * u));
    }
}

float AABeatFunctionGenerator::FrameRate() const {
    return static_cast<float>(mSampleRate) / static_cast<float>(mHopSize);
}

SInt32 AABeatFunctionGenerator::FindTempoAndBeats() {
    const auto frames = static_cast<UInt32>(mFunctionTime.mSampleTime);
    if (frames == 0) {
        return kNoTempo;
    }
    const UInt32 sectionLength = std::min(frames, kSectionFrames);
    const auto sections = static_cast<UInt32>(
        std::ceil(static_cast<float>(frames) / static_cast<float>(sectionLength)));
    mSectionProgress = 100.0f / static_cast<float>(sections);
    mHalfSectionProgress = 0.5f * mSectionProgress;

    mFunctionFetchList->AllocateBuffers(frames * UInt32{sizeof(float)});
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        mFunctionStore->Copy(c, 0, frames, Channel(mFunctionFetchList, c));
        mBeatList[c] = {}; // of a call that failed
        for (UInt32 s = 0; s < sections; ++s) {
            const UInt32 start = sectionLength * s;
            const Section section{Channel(mFunctionFetchList, c) + start,
                                  std::min(frames - start, sectionLength), s};
            mTempoPasses = 0;
            // The tempo of a long stream is that of its first section.
            if (s == 0 && FindTempoEstimates(mTempoList[c], section, false) != 0) {
                return kNoTempo;
            }
            // A stop within the tracking does not stop the delivery of what there is.
            if (IsWanted(kBeatData) || IsWanted(kDownBeatData)) {
                FindBeats(mTempoList[c], section, mBeatList[c]);
            }
        }
    }
    if (IsWanted(kGlobalTempo)) {
        DeliverTempi();
    }
    if (IsWanted(kBeatData)) {
        DeliverEvents(kQelAnalysisKey_BeatData, mBeatList);
    }
    return 0;
}

SInt32 AABeatFunctionGenerator::FindTempoEstimates(TempoEstimates& estimates,
                                                   const Section& section, bool retry) {
    const auto stopsAt = [&](float fraction) {
        return !retry && StopsAt(section.index, 0, fraction);
    };
    estimates.tempo1 = 0.0f;
    estimates.tempo2 = 0.0f;
    if (stopsAt(0.3f)) {
        return kStopped;
    }
    // The product is formed in single precision, which decides the lag at some rates: 787 at 48
    // kHz.
    const float frameRate = FrameRate();
    const float longestLag = std::round(kLongestLagSeconds * frameRate);
    if (!(longestLag >= 0.0f && longestLag <= static_cast<float>(section.length))) {
        return kAudioAnalysisErr_NotEnoughData;
    }
    const auto maxLag = static_cast<UInt32>(longestLag);

    std::vector<float> acf(section.length);
    ComputeAutocorrelationFFT(section.data, section.length, acf.data());
    NormalizeFloatVector(acf.data(), maxLag);
    std::vector<float> preference(maxLag);
    MakeCenteredWindow1(preference.data(), frameRate, mTempoCentre, maxLag);
    vDSP_vmul(acf.data(), 1, preference.data(), 1, acf.data(), 1, maxLag);
    if (stopsAt(0.7f)) {
        return kStopped;
    }

    std::vector<unsigned int> peakBins(maxLag);
    std::vector<float> peakValues(maxLag);
    unsigned int count = 0;
    FindLocalMaxima(acf.data(), maxLag, peakBins.data(), peakValues.data(), count, 0.0f);
    std::vector<float> peaksOnly(maxLag);
    for (unsigned int i = 0; i < count; ++i) {
        peaksOnly[peakBins[i]] = acf[peakBins[i]];
    }
    if (stopsAt(0.8f)) {
        return kStopped;
    }

    const double fastestLag = double{frameRate} * double{kSecondsPerMinute} / double{mMaxTempo};
    const UInt32 minLag = fastestLag < maxLag ? static_cast<UInt32>(fastestLag) : maxLag;
    float score1 = 0.0f;
    vDSP_Length position = 0;
    vDSP_maxvi(peaksOnly.data() + minLag, 1, &score1, &position, maxLag - minLag);
    // Without any peak there is no tempo.
    float lag1 = 0.0f;
    float tempoA = 0.0f;
    if (count > 0 && minLag < maxLag) {
        lag1 = static_cast<float>(minLag + position);
        tempoA = std::round(TempoOfLag(lag1, frameRate));
    } else {
        score1 = 0.0f;
    }

    float score2 = 0.0f;
    float tempoB = 0.0f;
    for (const float candidate : {lag1 * kThird, lag1 * 0.5f, lag1 + lag1}) {
        const float bin = std::round(candidate);
        const float tempo = TempoOfLag(candidate, frameRate);
        // Beyond the longest lag nothing is read.
        if (!(bin < longestLag) || !(tempo <= mMaxTempo) || !(tempo >= mMinTempo)) {
            continue;
        }
        const float value = acf[static_cast<UInt32>(bin)];
        if (value > score2) {
            score2 = value;
            tempoB = tempo;
        }
    }
    if (stopsAt(0.9f)) {
        return kStopped;
    }
    estimates.tempo1 = tempoA;
    estimates.tempo2 = std::round(tempoB);
    ++mTempoPasses;

    if ((estimates.tempo1 == 0.0f || estimates.tempo2 == 0.0f) && mTempoPasses <= 1) {
        // The other range is tried once, and stays for all later work; the scores stay these.
        SetGenreHint(mGenreHint == 1 ? 0 : 1);
        FindTempoEstimates(estimates, section, true);
    }
    if (estimates.tempo1 == 0.0f && estimates.tempo2 == 0.0f && mTempoPasses > 1) {
        return kNoTempo;
    }
    const auto isOutside = [&](float tempo) {
        return tempo == 0.0f || mMinTempo >= tempo || tempo >= mMaxTempo;
    };
    if (isOutside(estimates.tempo2)) {
        estimates.tempo2 = estimates.tempo1;
        score2 = score1;
    }
    if (isOutside(estimates.tempo1)) {
        estimates.tempo1 = estimates.tempo2;
        score1 = score2;
    }
    const float scores = score1 + score2;
    estimates.confidence = scores != 0.0f ? score1 / scores : 0.0f;
    return StopsAt(section.index, 0, 1.0f) ? kStopped : 0;
}

void AABeatFunctionGenerator::DeliverTempi() {
    static_assert(KeyTable::GlobalTempo.payloadBytes == sizeof(TempoEstimates));
    mBlocks.Prepare(mNumChannels, KeyTable::GlobalTempo.payloadBytes);
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        mBlocks.Store(c, &mTempoList[c]);
    }
    Deliver(kQelAnalysisKey_GlobalTempo);
}

} // namespace qel::core
