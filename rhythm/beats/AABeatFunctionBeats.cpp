// Beats by dynamic programming: each frame of the smoothed detection function takes the best frame
// about one period before it as its predecessor, and the beats are the chain of predecessors from
// the last frame. After D. P. W. Ellis, "Beat tracking by dynamic programming", Journal of New
// Music Research 36(1), 2007.

#include "elementary/Functions.h"
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

// The smoothing has a standard deviation of 1 / 32 of a period, in a window of 2.1 periods.
constexpr float kSmoothingShare = 32.0f;
constexpr float kSmoothingPeriods = 2.1f;
// How sharply the transition falls off around one period, per factor e of the distance.
constexpr float kTransitionSharpness = 6.0f;
constexpr float kPastShare = 0.8f;
// One unit below the float nearest to 0.2. With that one, scores differ in their last bits, and
// frames with close scores may take another predecessor.
constexpr float kLocalShare = 1.0f - kPastShare;
static_assert(std::bit_cast<std::uint32_t>(kPastShare) == 0x3F4CCCCD);
static_assert(std::bit_cast<std::uint32_t>(kLocalShare) == 0x3E4CCCCC);
constexpr UInt32 kFramesPerReport = 2000;
constexpr UInt32 kTracking = 1; // the second half of a section's progress

} // namespace

void MakeCenteredWindow2(float* window, float start, float step, float scale, unsigned int n) {
    float x = start;
    for (unsigned int i = 0; i < n; ++i) {
        const float u = x * scale;
        window[i] = elementary::Exp(-0.5f * (u * u));
        x += step;
    }
}

void MakeSkewWindow1(float* window, float start, float step, float scale, unsigned int n) {
    float x = start;
    for (unsigned int i = 0; i < n; ++i) {
        const float u = kTransitionSharpness * elementary::Log(x * scale);
        window[i] = elementary::Exp(-0.5f * (u * u));
        x += step;
    }
}

SInt32 AABeatFunctionGenerator::FindBeats(const TempoEstimates& estimates, const Section& section,
                                          Events& beats) {
    const double frameRate = mSampleRate / mHopSize;
    const float tempo = estimates.confidence < 0.5f ? estimates.tempo2 : estimates.tempo1;
    const float period = (kSecondsPerMinute * static_cast<float>(frameRate)) / tempo;
    // A period of less than half a frame leaves no room for a predecessor, and one that is no
    // number, or longer than a section, no use for one: sample rates of a few hundred Hz at most.
    if (!(period >= 0.5f && period <= static_cast<float>(kSectionFrames))) {
        return 0;
    }
    const std::vector<float> local = Smoothed(section, period);
    std::vector<SInt32> backLinks(section.length);
    if (TrackBackLinks(section, local, period, backLinks) != 0) {
        return kStopped;
    }
    for (const float fraction : {0.7f, 0.8f}) {
        if (StopsAt(section.index, kTracking, fraction)) {
            return kStopped;
        }
    }
    NormalizeFloatVector(section.data, section.length);
    if (StopsAt(section.index, kTracking, 0.9f)) {
        return kStopped;
    }

    const double sectionStart =
        mSegmentTime.mSampleTime + static_cast<double>(section.index) * kSectionFrames;
    for (auto frame = static_cast<SInt32>(section.length) - 1; frame > -1;) {
        beats.times.push_back((sectionStart + frame) / frameRate);
        beats.strengths.push_back(std::abs(section.data[frame]));
        frame = backLinks[static_cast<std::size_t>(frame)];
    }
    return StopsAt(section.index, kTracking, 1.0f) ? kStopped : 0;
}

// The section's function, smoothed and aligned with it. A stop that is asked for during the
// convolution leaves the rest zero and does not stop the tracking.
std::vector<float> AABeatFunctionGenerator::Smoothed(const Section& section, float period) const {
    const auto smoothLength =
        static_cast<UInt32>(1.0 + std::round(double{kSmoothingPeriods * period}));
    std::vector<float> smoothing(smoothLength);
    MakeCenteredWindow2(smoothing.data(), period, -1.0f, 1.0f / (period / kSmoothingShare),
                        smoothLength);
    std::vector<float> convolved(smoothLength + section.length - 1);
    Convolve(smoothing.data(), smoothLength, section.data, section.length, convolved.data(),
             mProgressCallback, mProgressRefCon, section.index, mSectionProgress, kTracking,
             mHalfSectionProgress);
    const auto offset =
        static_cast<std::ptrdiff_t>(std::round(double{static_cast<float>(smoothLength) / 2.0f}));
    std::vector<float> local(section.length);
    std::copy_n(
        convolved.begin() + offset,
        std::min<std::size_t>(section.length, convolved.size() - static_cast<std::size_t>(offset)),
        local.begin());
    return local;
}

// The forward pass: for each frame the score and the best predecessor, negative for none.
//
// Required by the contract: the score of frame 0 is never looked at. Looking at it can move the
// first beats.
SInt32 AABeatFunctionGenerator::TrackBackLinks(const Section& section,
                                               const std::vector<float>& local, float period,
                                               std::vector<SInt32>& backLinks) const {
    const float windowStart = -2.0f * period;
    const float windowEnd = -0.5f * period;
    const auto searchLength = static_cast<SInt32>(std::round(double{windowEnd - windowStart}));
    std::vector<float> transition(static_cast<std::size_t>(searchLength));
    MakeSkewWindow1(transition.data(), windowStart, 1.0f, 1.0f / -period,
                    static_cast<unsigned int>(searchLength));
    if (StopsAt(section.index, kTracking, 0.4f)) {
        return kStopped;
    }

    std::vector<float> score(section.length);
    std::vector<float> weighted(static_cast<std::size_t>(searchLength));
    for (UInt32 i = 0; i < section.length; ++i) {
        const auto base = static_cast<SInt32>(static_cast<float>(i) + windowStart);
        const SInt32 skip = std::clamp(1 - base, 0, searchLength);
        // The window ends before frame i; rounding must not take it there for short periods.
        const SInt32 end = std::clamp(static_cast<SInt32>(i) - base, skip, searchLength);
        float best = 0.0f;
        vDSP_Length index = 0;
        if (skip < end) {
            const auto count = static_cast<vDSP_Length>(end - skip);
            vDSP_vmul(transition.data() + skip, 1, score.data() + (base + skip), 1, weighted.data(),
                      1, count);
            vDSP_maxmgvi(weighted.data(), 1, &best, &index, count);
        }
        // What is skipped counts as zero: where nothing is greater, the first place wins.
        const SInt32 bestIndex = best > 0.0f ? skip + static_cast<SInt32>(index) : 0;
        score[i] = kLocalShare * local[i] + best * kPastShare;
        backLinks[i] = bestIndex + base;
        if (i % kFramesPerReport == 0 &&
            StopsAt(section.index, kTracking,
                    0.4f + (static_cast<float>(i) / static_cast<float>(section.length)) * 0.2f)) {
            return kStopped;
        }
    }
    return 0;
}

void AABeatFunctionGenerator::DeliverEvents(CFStringRef key, const std::vector<Events>& events) {
    std::vector<std::vector<QelAudioAnalysisEvent>> sorted;
    sorted.reserve(events.size());
    for (const Events& source : events) {
        sorted.push_back(SortedEvents(source));
    }
    PrepareEventBlocks(mBlocks, sorted);
    Deliver(key);
}

} // namespace qel::core
