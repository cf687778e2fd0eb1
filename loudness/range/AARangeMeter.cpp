#include "loudness/range/AARangeMeter.h"

#include "engine/base/KeyFacts.h"

#include <algorithm>
#include <cstring>

namespace qel::core {

namespace {

constexpr UInt32 kFrameSize = KeyTable::AudioRange.Slot().frameSize;
static_assert(KeyTable::AudioRange.Slot().hop == kFrameSize / 2);
static_assert(KeyTable::AudioRange.Slot().pushMultiple == kFrameSize / 2);
static_assert(KeyTable::AudioRange.payloadBytes == sizeof(QelAudioAnalysisRange));
constexpr UInt32 kFrequencyBins = kFrameSize / 2 + 1;

// Levels are counted in steps of 1 dB: 198 between the edges, and what lies beyond on either side.
constexpr SInt32 kLevelBins = 200;
constexpr float kLowestLevel = -199.0f; // dB
constexpr float kHighestLevel = -1.0f;

// Of sample values there are 1022 steps between the edges at full scale.
constexpr UInt32 kSampleBins = 1024;
constexpr float kFullScale = 1.0f;

constexpr float kNoHeadroom = -1.0f;
constexpr float kNoNoiseFloor = 100.0f; // dB
constexpr float kNoCutoff = -1.0f;

// Marks the channels without a value. 1 if any channel has one.
SInt32 Finish(std::vector<float>& values, const bool* found, float marker) {
    SInt32 anyFound = 0;
    for (std::size_t c = 0; c < values.size(); ++c) {
        if (found[c]) {
            anyFound = 1;
        } else {
            values[c] = marker;
        }
    }
    return anyFound;
}

} // namespace

AARangeMeter::AARangeMeter(UInt32 channels, Float64 sampleRate, UInt32 maxFrames,
                           UInt32 streamLength, DataCallback dataCallback, void* refCon)
    : QelAAAnalysisBase(channels, sampleRate, maxFrames, streamLength, dataCallback, refCon),
      mRangeResults{std::vector<float>(channels), std::vector<float>(channels),
                    std::vector<float>(channels)},
      mFrameSize(kFrameSize), mPreprocess(kFrameSize), mTransform(kFrameSize, channels),
      mHistogram(channels, kFrequencyBins, kLevelBins, kLowestLevel, kHighestLevel),
      mHeadroom(channels, kSampleBins, -kFullScale, kFullScale),
      mPreviousTail(NewBuffer("previous tail", kFrameSize / 2 * sizeof(float))),
      mRecords(channels) {
    AARangeMeter::ReadyAnalysis();
}

AARangeMeter::~AARangeMeter() = default;

SInt32 AARangeMeter::ReadyAnalysis() {
    mFrameSize = kFrameSize;
    for (auto* values :
         {&mRangeResults.headroom, &mRangeResults.noiseFloor, &mRangeResults.cutoff}) {
        std::fill(values->begin(), values->end(), 0.0f);
    }
    mRangeResults.headroomValid = 0;
    mRangeResults.noiseFloorValid = 0;
    mRangeResults.cutoffValid = 0;
    mHistogram.Initialize();
    mHeadroom.Initialize();
    return 0;
}

SInt32 AARangeMeter::PushAudio(AudioBufferList* list, UInt32 frames) {
    const UInt32 hop = mFrameSize / 2;
    const UInt32 blocks = frames / hop;
    if (blocks < 1 || frames % hop != 0) {
        return kBadFrameCount;
    }
    if (list == nullptr) {
        return kAudioAnalysisErr_NullBufferList;
    }
    const UInt32 channels = std::min(list->mNumberBuffers, mNumChannels);
    // One channel after the other, whose histograms so stay in the cache.
    for (UInt32 c = 0; c < channels; ++c) {
        const auto* samples = static_cast<const float*>(list->mBuffers[c].mData);
        mHeadroom.Update(c, samples, frames);

        float* const tail = Channel(mPreviousTail, c);
        const float* firstHalf = tail;
        for (UInt32 b = 0; b < blocks; ++b, samples += hop) {
            MeasureFrame(c, firstHalf, samples);
            firstHalf = samples;
        }
        std::memcpy(tail, firstHalf, hop * sizeof(float));
    }
    return 0;
}

void AARangeMeter::MeasureFrame(UInt32 channel, const float* firstHalf, const float* secondHalf) {
    int usable = 0;
    mPreprocess.ApplyWindow(firstHalf, secondHalf, mTransform.Frame(), channel, mNumChannels,
                            &usable);
    if (usable == 0) {
        return;
    }
    mHistogram.IncrementNonZeroBlockCount(channel);
    mTransform.dftAnalysis();
    mHistogram.UpdateSpectrum(channel, mTransform.Power().data());
}

void AARangeMeter::FindRange() {
    const CAAutoFree<bool> cutoffFound(mNumChannels, true);
    const CAAutoFree<bool> noiseFloorFound(mNumChannels, true);
    const CAAutoFree<bool> headroomFound(mNumChannels, true);
    RangeResults& results = mRangeResults;
    mHistogram.EstimateSpectralRange(mFrameSize, mNumChannels, static_cast<float>(mSampleRate),
                                     cutoffFound, results.cutoff.data(), noiseFloorFound,
                                     results.noiseFloor.data());
    mHeadroom.FindHeadRoom(mHeadroom.GetNSamplesPerChannel(), mNumChannels, headroomFound,
                           results.headroom.data());
    results.cutoffValid = Finish(results.cutoff, cutoffFound, kNoCutoff);
    results.noiseFloorValid = Finish(results.noiseFloor, noiseFloorFound, kNoNoiseFloor);
    results.headroomValid = Finish(results.headroom, headroomFound, kNoHeadroom);
}

void AARangeMeter::DeliverRange() {
    const RangeResults& results = mRangeResults;
    mBlocks.Prepare(mNumChannels, 0);
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        mRecords[c] = {results.headroom[c],   results.noiseFloor[c],   results.cutoff[c],
                       results.headroomValid, results.noiseFloorValid, results.cutoffValid};
        mBlocks.Blocks()[c].mData = mRecords.data();
        mBlocks.Blocks()[c].mDataByteSize =
            static_cast<UInt32>(mRecords.size() * sizeof(QelAudioAnalysisRange));
    }
    Deliver(kQelAnalysisKey_AudioRange);
}

SInt32 AARangeMeter::ProcessFinal(UInt8 flush) {
    FindRange();
    if (mDataCallback != nullptr) {
        DeliverRange();
    }
    return QelAAAnalysisBase::ProcessFinal(flush);
}

} // namespace qel::core
