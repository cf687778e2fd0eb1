#include "rhythm/beats/AABeatFunctionGenerator.h"

#include "rhythm/beats/BandRise.h"
#include "spectral/mel/AAMelFrequencySpectralProcessor.h"

#include <algorithm>
#include <array>
#include <limits>
#include <new>

namespace qel::core {

namespace {

constexpr float kDCPole = -0.99f;

} // namespace

void BeatSpectralFun(SpectralAndAudioBufferList* list, void* refCon) {
    static_cast<AABeatFunctionGenerator*>(refCon)->ComputeAndStoreProperies(list);
}

AABeatFunctionGenerator::AABeatFunctionGenerator(UInt32 channels, Float64 sampleRate,
                                                 UInt32 frameSize, UInt32 hop, UInt32 maxFrames,
                                                 UInt32 streamLength, DataCallback dataCallback,
                                                 void* refCon)
    : QelAAAnalysisGenerator(channels, sampleRate, frameSize, hop, maxFrames, streamLength,
                             dataCallback, refCon),
      mTempoList(channels), mBeatList(channels), mMeterList(channels), mDownBeatList(channels) {
    SetGenreHint(1);
}

AABeatFunctionGenerator::~AABeatFunctionGenerator() {
    AABeatFunctionGenerator::Cleanup();
}

SInt32 AABeatFunctionGenerator::ReadyAnalysis() {
    ResetStamp(mSegmentTime);
    return QelAAAnalysisGenerator::ReadyAnalysis();
}

void AABeatFunctionGenerator::NullPointers() {
    QelAAAnalysisGenerator::NullPointers();
    for (auto* list : {&mPreviousList, &mFunctionList, &mPrevFunctionList, &mFiltFunctionList,
                       &mPrevFiltFunctionList, &mFunctionFetchList}) {
        list->forget();
    }
    mFunctionStore.forget();
}

void AABeatFunctionGenerator::Cleanup() {
    mSpectralProcessor.free();
    for (auto* list : {&mPreviousList, &mFunctionList, &mPrevFunctionList, &mFiltFunctionList,
                       &mPrevFiltFunctionList, &mFunctionFetchList}) {
        list->free();
    }
    mMeterAudio.reset();
    mFunctionStore.free();
    ResetStamp(mFunctionTime);
    AABeatFunctionGenerator::NullPointers();
}

void AABeatFunctionGenerator::AllocateBuffers() {
    // A reset keeps the resampling filter.
    if (!NeedsAudio()) {
        mMeterAudio.reset();
    } else if (mMeterAudio != nullptr) {
        mMeterAudio->Reset();
    } else {
        mMeterAudio = std::make_unique<MeterAudio>(mNumChannels, mSampleRate, mStreamLength);
    }

    mSpectralProcessor.free();
    auto* processor = new AAMelFrequencySpectralProcessor(
        mFrameSize, mHopSize, mNumChannels, mMaxFrames, false, false, kNumMelBands, mSampleRate);
    mSpectralProcessor = processor;
    processor->SetKeepsAudioFrames(false);
    processor->MakeFilterWeights2();

    constexpr UInt64 kFloat = sizeof(float);
    mPreviousList = NewBuffer("previous buffer", kNumMelBands * kFloat);
    mFunctionList = NewBuffer("function buffer", kFloat);
    mPrevFunctionList = NewBuffer("prev function buffer", kFloat);
    mFiltFunctionList = NewBuffer("filt function buffer", kFloat);
    mPrevFiltFunctionList = NewBuffer("prev filt function buffer", kFloat);
    mFunctionFetchList = NewBuffer("function fetching buffer", 0);
    mFunctionStore.free();
    mFunctionStore = NewStore(mNumAnalysisFrames, kUsualFrames);
    ResetStamp(mFunctionTime);
    for (auto* events : {&mBeatList, &mDownBeatList}) {
        events->assign(mNumChannels, {});
    }
    mTempoList.assign(mNumChannels, {});
    mMeterList.assign(mNumChannels, 0);

    // At last, as nothing else may drive it out of the caches.
    WarmUpRise();
    if (mMeterAudio != nullptr) {
        mMeterAudio->WarmUp();
    }
    processor->WarmUp();
    processor->SetSpectralFunction(BeatSpectralFun, this);
}

// The silent frame of the processor ends before the function of a frame, whose code may be in other
// pages.
void AABeatFunctionGenerator::WarmUpRise() {
    const std::array<float, kNumMelBands> silence{};
    std::array<float, kNumMelBands> levels{};
    BandRise(silence.data(), levels.data(), kNumMelBands);
    LowestMean(silence.data(), kNumMelBands);
}

SInt32 AABeatFunctionGenerator::PushAudio(AudioBufferList* list, UInt32 frames) {
    if (list == nullptr) {
        return kAudioAnalysisErr_NullBufferList;
    }
    if (mMeterAudio != nullptr) {
        mMeterAudio->Push(*list, frames);
    }
    return QelAAAnalysisGenerator::PushAudio(list, frames);
}

void AABeatFunctionGenerator::ComputeAndStoreProperies(const SpectralAndAudioBufferList* list) {
    MakeFunction(list);
}

// The rise of the log mel spectrum, weighted with the level of the lowest bins.
void AABeatFunctionGenerator::MakeFunction(const SpectralAndAudioBufferList* list) {
    static_assert(kNumMelBands % kBandRiseStep == 0);
    auto* processor = static_cast<AAMelFrequencySpectralProcessor*>(mSpectralProcessor.get());
    for (UInt32 c = 0; c < list->mNumChannels; ++c) {
        // Required by the contract: the list holds bins, not bands, so that the mean is that of the
        // lowest bins. A mean of bands changes all values of the function.
        const float level = LowestMean(Channel(processor->GetMagnitudeList(), c), kNumMelBands);
        const float rise = BandRise(Channel(processor->GetLogEarList(), c),
                                    Channel(mPreviousList, c), kNumMelBands);
        const float function = rise * level;
        *Channel(mFunctionList, c) = function;
        *Channel(mFiltFunctionList, c) = RemoveDC(c, function);
    }
    mFunctionStore->Append(mFiltFunctionList->GetBufferList(), 1);
    mFunctionTime.mSampleTime += 1.0;
}

// A first-order high-pass: y[n] = x[n] - x[n - 1] + 0.99 y[n - 1].
float AABeatFunctionGenerator::RemoveDC(UInt32 channel, float function) {
    float& previous = *Channel(mPrevFunctionList, channel);
    float& previousFiltered = *Channel(mPrevFiltFunctionList, channel);
    const float filtered = function * 1.0f + previous * -1.0f - previousFiltered * kDCPole;
    previous = function;
    previousFiltered = filtered;
    return filtered;
}

SInt32 AABeatFunctionGenerator::ProcessFinal(UInt8 flush) {
    const auto frames = static_cast<UInt32>(mFunctionTime.mSampleTime);
    // The subtraction wraps for a stream that gives no frame at all, which then never is complete.
    if (flush == 0 && frames < std::min(mNumAnalysisFrames - 1, kSectionFrames)) {
        return kAudioAnalysisErr_NotEnoughData;
    }
    SInt32 status = 0;
    if (IsWanted(kGlobalTempo) || IsWanted(kBeatData) || IsWanted(kDownBeatData)) {
        status = FindTempoAndBeats();
    }
    if (status == 0 && NeedsAudio()) {
        status = FindBeatsPerBar();
    }
    if (status == 0 && IsWanted(kDownBeatData)) {
        status = FindDownBeats();
    }
    if (status != 0) {
        return status;
    }
    QelAAAnalysisGenerator::ReadyAnalysis(); // the segments' time goes on
    mSegmentTime.mSampleTime += frames;
    return QelAAAnalysisGenerator::ProcessFinal(flush);
}

bool AABeatFunctionGenerator::StopsAt(UInt32 sectionIndex, UInt32 half, float fraction) const {
    return StopsAt(static_cast<float>(sectionIndex) * mSectionProgress +
                   static_cast<float>(half) * mHalfSectionProgress +
                   fraction * mHalfSectionProgress);
}

} // namespace qel::core
