#include "rhythm/onsets/AAOnsetGenerator.h"

#include "engine/base/EventList.h"
#include "engine/base/KeyFacts.h"
#include "rhythm/math/RhythmMath.h"
#include "rhythm/onsets/GammatoneLanes.h"
#include "rhythm/onsets/OnsetPeakCurve.h"
#include "rhythm/onsets/OnsetPeaks.h"
#include "support/containers/CACFArray.h"
#include "support/containers/CACFDictionary.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <new>
#include <utility>

namespace qel::core {

namespace {

constexpr float kLowestBandHz = 235.0f;
constexpr float kHighestBandHz = 14500.0f;
constexpr float kBandsPerERB = 1.0f;

// Of all channels of a push that may wait. Filtering more takes several times as long as a step of
// the store.
constexpr UInt32 kMostPostponed = 128;

// Of a push, that are filtered at a time where nothing goes along: as many as with a whole run.
constexpr UInt32 kPartFrames = CurveChunks::kFrames / kLowPassStepsPerSample;

// Frames with which a run goes on to its end.
UInt32 FramesOf(const LowPassRun& run) {
    return static_cast<UInt32>(run.left / kLowPassStepsPerSample);
}

// Of a stream of unknown length, over all channels: six minutes of one at 44100 Hz. Until then, no
// push allocates.
constexpr UInt64 kUsualFrames = UInt64{1} << 24;

// Of a declared length; what comes beyond is allocated as it comes.
constexpr UInt64 kMostReserved = UInt64{1} << 28;

// A stream ends where its sums, as floats of all channels, no longer fit 32 bits.
bool IsTooLong(UInt64 frames, UInt64 channels) {
    return (frames * sizeof(float) + 8) * channels > std::numeric_limits<UInt32>::max();
}

constexpr double kLeastWindow = 2048.0;
constexpr UInt32 kStreamShare = 16; // the largest window is this part of the stream
constexpr int kDistanceShare = 4;   // of the window lies between candidates
constexpr float kStrongLevel = 0.75f;

constexpr float kPercentStarted = 40.0f;
// Required by the contract: of a channel, below what was reported before. Any cleanup makes clients
// see other percentages, and stop at other places.
constexpr float kPercentCurve = 20.0f;
constexpr float kPercentPeaks = 80.0f;
constexpr float kPercentSorted = 90.0f;
constexpr float kPercentDelivered = 100.0f;

} // namespace

AAOnsetGenerator::~AAOnsetGenerator() {
    AAOnsetGenerator::Cleanup();
}

void AAOnsetGenerator::NullPointers() {
    QelAAAnalysisBase::NullPointers();
    mFilterBankReady = false;
    mGammaList.forget();
    mCurves.clear();
    mPostponed.forget();
}

void AAOnsetGenerator::Cleanup() {
    RemoveBank();
    mGammaList.free();
    mCurves.clear();
    mPostponed.free();
    mPostponedFrames = 0;
    ResetStamp(mGammaTime);
    QelAAAnalysisBase::Cleanup();
}

void AAOnsetGenerator::RemoveBank() {
    if (mFilterBankReady) {
        Gfb_Analyzer_remove(&mFilterBank);
    }
    mFilterBankReady = false;
}

void AAOnsetGenerator::AllocateBuffers() {
    RemoveBank();
    mCurves.clear();
    mGammaList = NewBuffer("gamma filter buffer", mMaxFrames * UInt64{sizeof(float)});
    mPostponed = NewBuffer("postponed buffer", kMostPostponed * UInt64{sizeof(float)});
    mPostponedFrames = 0;
    std::deque<OnsetCurveBuilder> curves;
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        curves.emplace_back(FramesToReserve());
    }
    // At last, so that the first push finds it in the caches: its code by another bank's silence.
    MakeBank();
    if (mNumChannels > 0) {
        WarmUp(curves.front());
    }
    RemoveBank();
    MakeBank();
    mCurves = std::move(curves);
    ResetStamp(mGammaTime);
}

void AAOnsetGenerator::WarmUp(OnsetCurveBuilder& curve) {
    const UInt32 frames = std::min(mMaxFrames, kMostPostponed);
    curve.MakeRoom(frames);
    FilterChannel(curve, Channel(mPostponed, 0), Channel(mGammaList, 0), frames, true);
    curve.Restart();
}

// The silence of a flush as well.
UInt64 AAOnsetGenerator::FramesToReserve() const {
    const UInt64 channels = std::max(mNumChannels, 1u);
    const UInt64 declared = UInt64{mStreamLength} + mMaxFrames;
    return std::min(mStreamLength != 0 ? declared : kUsualFrames / channels,
                    kMostReserved / channels);
}

void AAOnsetGenerator::MakeBank() {
    constexpr int kMostSamples = std::numeric_limits<int>::max();
    // Bands are summed with their own delays: the low ones come a little later.
    const Gfb_Parameters parameters{static_cast<float>(mSampleRate),
                                    kLowestBandHz,
                                    kHighestBandHz,
                                    kLowestBandHz,
                                    kBandsPerERB,
                                    0};
    mFilterBankReady = true; // whatever there is of it must be removed
    if (Gfb_Analyzer_new(&mFilterBank, parameters,
                         static_cast<int>(std::min<UInt32>(mMaxFrames, kMostSamples))) != 0) {
        throw std::bad_alloc();
    }
}

SInt32 AAOnsetGenerator::PushAudio(AudioBufferList* list, UInt32 frames) {
    if (list == nullptr) {
        return kAudioAnalysisErr_NullBufferList;
    }
    if (mCurves.size() != mNumChannels) { // a reset that failed
        return 0;
    }
    const UInt32 channels = std::min(list->mNumberBuffers, mNumChannels);
    if (mPostponedFrames == 0 && PrepareAhead() && Postpone(*list, channels, frames)) {
        return 0;
    }
    // A push that filters two does not go on with the curve, which the next ones make up for.
    const bool filteredPostponed = FilterPostponed();
    Filter(*list, channels, frames, !filteredPostponed);
    return 0;
}

// One step for each channel. Whether there was one to take.
bool AAOnsetGenerator::PrepareAhead() {
    bool isPrepared = false;
    for (OnsetCurveBuilder& curve : mCurves) {
        isPrepared = curve.PrepareAhead() || isPrepared;
    }
    return isPrepared;
}

// Whether the push is short enough for that.
bool AAOnsetGenerator::Postpone(const AudioBufferList& list, UInt32 channels, UInt32 frames) {
    if (UInt64{frames} * channels > kMostPostponed) {
        return false;
    }
    for (UInt32 c = 0; c < channels; ++c) {
        std::copy_n(static_cast<const float*>(list.mBuffers[c].mData), frames,
                    Channel(mPostponed, c));
    }
    mPostponedChannels = channels;
    mPostponedFrames = frames;
    return true;
}

// Whether a push waited.
bool AAOnsetGenerator::FilterPostponed() {
    if (mPostponedFrames == 0) {
        return false;
    }
    Filter(mPostponed->GetBufferList(), mPostponedChannels, std::exchange(mPostponedFrames, 0u),
           false);
    return true;
}

void AAOnsetGenerator::Filter(const AudioBufferList& list, UInt32 channels, UInt32 frames,
                              bool goesOn) {
    if (IsTooLong(static_cast<UInt64>(mGammaTime.mSampleTime) + frames, mNumChannels)) {
        throw std::bad_alloc();
    }
    for (OnsetCurveBuilder& curve : mCurves) {
        curve.MakeRoom(frames);
    }
    // Nothing raises anything from here on, so that a push is taken as a whole.
    for (UInt32 c = 0; c < channels; ++c) {
        FilterChannel(mCurves[c], static_cast<const float*>(list.mBuffers[c].mData),
                      Channel(mGammaList, c), frames, goesOn);
    }
    for (UInt32 c = channels; c < mNumChannels; ++c) {
        mCurves[c].Append(Channel(mGammaList, c), frames);
    }
    mGammaTime.mSampleTime += frames;
}

// In parts that are as long as the run that goes along.
void AAOnsetGenerator::FilterChannel(OnsetCurveBuilder& curve, const float* input, float* sums,
                                     UInt32 frames, bool goesOn) {
    GammatoneBands bands;
    gfb_LoadBands(mFilterBank, bands);
    for (UInt32 done = 0; done < frames;) {
        LowPassRun none;
        LowPassRun& run = goesOn ? curve.Run() : none;
        const UInt32 part = run.left == 0 ? kPartFrames : FramesOf(run);
        const UInt32 count = std::min(part, frames - done);
        gfb_SumBands(sums + done, input + done, bands, count, run);
        curve.Append(sums + done, count);
        done += count;
    }
    gfb_SaveBands(bands, mFilterBank);
}

int AAOnsetGenerator::WindowFor(UInt32 frames, float sensitivity) {
    const float share = (100.0f - sensitivity) / 100.0f;
    const UInt32 longest = frames / kStreamShare; // whole frames
    const double window = kLeastWindow + std::rint(double{static_cast<float>(longest) * share});
    if (std::isnan(window)) {
        return static_cast<int>(kLeastWindow);
    }
    return static_cast<int>(std::clamp(window, double{std::numeric_limits<int>::min()},
                                       double{std::numeric_limits<int>::max()}));
}

SInt32 AAOnsetGenerator::FindOnsets(UInt32 channel, Onsets& onsets) {
    OnsetPeakCurve curve(mCurves[channel]);
    const UInt32 frames = curve.Size();
    if (StopsAt(kPercentCurve)) {
        return kStopped;
    }

    const int window = WindowFor(frames, mSensitivity);
    const unsigned int room = MaxPeaks(frames, window / kDistanceShare);
    const auto indices = std::make_unique_for_overwrite<unsigned int[]>(room);
    const auto values = std::make_unique_for_overwrite<float[]>(room);
    unsigned int count = 0;
    if (FindPeaksAdaptivleyInVector(curve, indices.get(), values.get(), count, window, kStrongLevel,
                                    kPercentCurve, kPercentPeaks, mProgressCallback,
                                    mProgressRefCon) != 0) {
        return kStopped;
    }
    if (StopsAt(kPercentPeaks)) {
        return kStopped;
    }

    Events events;
    const double secondsPerSample = 1.0 / mSampleRate;
    for (unsigned int i = 0; i < count; ++i) {
        events.times.push_back(indices[i] * secondsPerSample);
    }
    events.strengths.assign(values.get(), values.get() + count);
    onsets = SortedEvents(events);
    return StopsAt(kPercentSorted) ? kStopped : 0;
}

SInt32 AAOnsetGenerator::ProcessFinal(UInt8 flush) {
    if (StopsAt(kPercentStarted)) {
        return kStopped;
    }
    FilterPostponed();
    std::vector<Onsets> onsets(mNumChannels);
    for (UInt32 c = 0; c < mCurves.size(); ++c) {
        if (const SInt32 status = FindOnsets(c, onsets[c]); status != 0) {
            return status;
        }
    }
    PrepareEventBlocks(mBlocks, onsets);
    Deliver(kQelAnalysisKey_OnsetData);
    if (StopsAt(kPercentDelivered)) {
        return kStopped;
    }
    return QelAAAnalysisBase::ProcessFinal(flush);
}

// Required by the contract: the same for every key. Clients get a size for keys of others as well.
UInt32 AAOnsetGenerator::GetSizeOfAnalysisDataForKey(CFStringRef) {
    return KeyTable::OnsetData.payloadBytes;
}

SInt32 AAOnsetGenerator::GetParameterList(CFMutableArrayRef* list) {
    CFArrayAppendValue(*list, kQelAnalysisParameter_OnsetSensitivity);
    return 0;
}

QelAudioAnalysisParameterValueInfo AAOnsetGenerator::ParameterValueInfo(CFStringRef name) {
    if (CFEqual(name, kQelAnalysisParameter_OnsetSensitivity)) {
        return {0.0f, 100.0f, 80.0f, 0};
    }
    return {};
}

// The record does not reach the caller, whose data stay as they are.
SInt32 AAOnsetGenerator::GetParameterValueInfo(CFStringRef name, void*) {
    [[maybe_unused]] const QelAudioAnalysisParameterValueInfo info = ParameterValueInfo(name);
    return 0;
}

SInt32 AAOnsetGenerator::GetParameter(CFStringRef name, float* outValue) {
    if (CFEqual(name, kQelAnalysisParameter_OnsetSensitivity)) {
        *outValue = mSensitivity;
    }
    return 0;
}

SInt32 AAOnsetGenerator::SetParameter(CFStringRef name, float value) {
    if (CFEqual(name, kQelAnalysisParameter_OnsetSensitivity)) {
        mSensitivity = value;
    }
    return 0;
}

// { "onset data": [ channel: { "onset time": [...], "onset strength": [...] } ] }
CFPropertyListRef AAOnsetGenerator::CreateCFRepresentation(CFAllocatorRef allocator,
                                                           CFStringRef key, UInt32 count,
                                                           const QelAudioAnalysisBlock* blocks) {
    CACFDictionary result(allocator, true);
    if (key == nullptr || !CFEqual(key, kQelAnalysisKey_OnsetData)) {
        return CFRetain(result.GetCFDictionary());
    }
    CACFArray channels(mNumChannels, true);
    for (UInt32 c = 0; c < std::min(mNumChannels, count); ++c) {
        channels.AppendDictionary(
            EventDictionary(blocks[c], kOnsetTimeString, kOnsetStrengthString).GetCFDictionary());
    }
    result.AddArray(kQelAnalysisKey_OnsetData, channels.GetCFArray());
    return CFRetain(result.GetCFDictionary());
}

} // namespace qel::core
