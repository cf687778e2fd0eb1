#include "timbre/AAPhaseBasedPropertiesGenerator.h"

#include "engine/base/KeyFacts.h"
#include "spectral/VectorHelpers.h"
#include "support/containers/CACFArray.h"
#include "support/containers/CACFDictionary.h"
#include "timbre/AAPhaseBasedSpectralProcessor.h"
#include "timbre/PhaseVectors.h"

#include <Accelerate/Accelerate.h>

#include <algorithm>

namespace qel::core {

namespace {

constexpr UInt32 kBlockBytes = KeyTable::PhaseProperties.payloadBytes;
static_assert(kBlockBytes == AAPhaseBasedPropertiesGenerator::kNumValues * sizeof(float));

// In the order of the block.
const CFStringRef kNames[AAPhaseBasedPropertiesGenerator::kNumValues] = {
    kPhaseDeviationString,
    kWeightedPhaseDeviationString,
    kNormalizedWeightedPhaseDeviation,
    kComplexSpectralDifference,
    kRectifiedComplexSpectralDifference,
};

bool IsOurs(CFStringRef key) {
    return key != nullptr && CFEqual(key, kQelAnalysisKey_PhaseProperties);
}

void AddValues(CACFDictionary& dict, const QelAudioAnalysisBlock& block) {
    const auto* values = static_cast<const float*>(block.mData);
    const UInt32 floats = values != nullptr ? block.mDataByteSize / UInt32{sizeof(float)} : 0;
    for (UInt32 i = 0; i < std::min(floats, AAPhaseBasedPropertiesGenerator::kNumValues); ++i) {
        dict.AddFloat32(kNames[i], values[i]);
    }
}

} // namespace

void MyPhaseSpectralFun(SpectralAndAudioBufferList* list, void* refCon) {
    static_cast<AAPhaseBasedPropertiesGenerator*>(refCon)->ComputeAndStoreProperties(*list);
}

AAPhaseBasedPropertiesGenerator::~AAPhaseBasedPropertiesGenerator() {
    AAPhaseBasedPropertiesGenerator::Cleanup();
}

void AAPhaseBasedPropertiesGenerator::NullPointers() {
    QelAAAnalysisGenerator::NullPointers();
    mScratch.forget();
    for (auto* list : {&mMagnitudeBuffer, &mPreviousMagnitudeBuffer, &mPreviousPhaseBuffer,
                       &mPreviousPhaseDiffBuffer, &mSecondDerivativeBuffer, &mPhaseResultBuffer}) {
        list->forget();
    }
}

void AAPhaseBasedPropertiesGenerator::Cleanup() {
    mSpectralProcessor.free();
    mScratch.free();
    for (auto* list : {&mMagnitudeBuffer, &mPreviousMagnitudeBuffer, &mPreviousPhaseBuffer,
                       &mPreviousPhaseDiffBuffer, &mSecondDerivativeBuffer, &mPhaseResultBuffer}) {
        list->free();
    }
    AAPhaseBasedPropertiesGenerator::NullPointers();
}

void AAPhaseBasedPropertiesGenerator::AllocateBuffers() {
    mSpectralProcessor = new AAPhaseBasedSpectralProcessor(
        mFrameSize, mHopSize, mNumChannels, mMaxFrames, false, static_cast<float>(mSampleRate));
    mSpectralProcessor->SetSpectralFunction(MyPhaseSpectralFun, this);

    mScratch.alloc(mNumBins, true);
    const UInt64 bytes = mNumBins * UInt64{sizeof(float)};
    mMagnitudeBuffer = NewBuffer("spectrum current magnitude buffer", bytes);
    mPreviousMagnitudeBuffer = NewBuffer("spectrum previous magnitude buffer", bytes);
    mPreviousPhaseBuffer = NewBuffer("spectrum previous phase buffer", bytes);
    mPreviousPhaseDiffBuffer = NewBuffer("spectrum previous phase diff buffer", bytes);
    mSecondDerivativeBuffer = NewBuffer("spectrum phase second derivitive buffer", bytes);
    mPhaseResultBuffer = NewBuffer("spectrum phase buffer", kBlockBytes);
}

UInt32 AAPhaseBasedPropertiesGenerator::GetSizeOfAnalysisDataForKey(CFStringRef key) {
    return IsOurs(key) ? kBlockBytes : QelAAAnalysisGenerator::GetSizeOfAnalysisDataForKey(key);
}

// { key: [ channel: [ frame: { name: number, ... } ] ] }
CFPropertyListRef AAPhaseBasedPropertiesGenerator::CreateCFRepresentation(
    CFAllocatorRef allocator, CFStringRef key, UInt32 count, const QelAudioAnalysisBlock* blocks) {
    CACFDictionary result(allocator, true);
    if (IsOurs(key)) {
        const UInt32 frames = GetNumAnalysisFramesForData(count, blocks);
        CACFArray channelArray(mNumChannels, true);
        for (UInt32 c = 0; c < mNumChannels; ++c) {
            CACFArray frameArray(frames, true);
            for (UInt32 f = 0; f < frames; ++f) {
                CACFDictionary values(true);
                AddValues(values, blocks[f * mNumChannels + c]);
                frameArray.AppendDictionary(values.GetCFDictionary());
            }
            channelArray.AppendArray(frameArray.GetCFArray());
        }
        result.AddArray(key, channelArray.GetCFArray());
    }
    return CFRetain(result.GetCFDictionary());
}

float AAPhaseBasedPropertiesGenerator::ComputePhaseDeviation(const float* secondDifferences) const {
    float sum = 0.0f;
    vDSP_svemg(secondDifferences, 1, &sum, mNumBins);
    return sum / static_cast<float>(mNumBins);
}

float AAPhaseBasedPropertiesGenerator::ComputeNormaliedWeightedPhaseDeviation(
    const float* magnitudes, float weightedDeviation) const {
    float sum = 0.0f;
    vDSP_svemg(magnitudes, 1, &sum, mNumBins);
    return sum == 0.0f ? 0.0f : weightedDeviation / sum;
}

// Required by the contract: a sum of magnitudes is never negative, so that this is a copy.
// Rectifying bin by bin changes all values.
void AAPhaseBasedPropertiesGenerator::ComputeRectifiedComplexSpectralDifference(
    const float* difference, float* rectified) {
    HalfWaveRectify(difference, 1, rectified);
}

void AAPhaseBasedPropertiesGenerator::ComputeChannel(UInt32 channel) {
    auto* processor = static_cast<AAPhaseBasedSpectralProcessor*>(mSpectralProcessor.get());
    const float* const magnitudes = Channel(mMagnitudeBuffer, channel);
    const auto* phases =
        static_cast<const float*>(processor->GetPhaseBufferList()->mBuffers[channel].mData);
    float* const second = Channel(mSecondDerivativeBuffer, channel);
    float* const out = Channel(mPhaseResultBuffer, channel);
    const PhaseHistory history{Channel(mPreviousMagnitudeBuffer, channel),
                               Channel(mPreviousPhaseBuffer, channel),
                               Channel(mPreviousPhaseDiffBuffer, channel)};

    FindPredictionErrors(magnitudes, history, mNumBins, mScratch);
    out[3] = processor->ComputePhases(channel, mScratch);
    ComputeRectifiedComplexSpectralDifference(&out[3], &out[4]);
    FollowPhases(magnitudes, phases, history, mNumBins, second, mScratch);
    out[0] = ComputePhaseDeviation(second);
    out[1] = ComputePhaseDeviation(mScratch);
    out[2] = ComputeNormaliedWeightedPhaseDeviation(magnitudes, out[1]);
}

void AAPhaseBasedPropertiesGenerator::ComputeAndStoreProperties(
    const SpectralAndAudioBufferList& list) {
    mBlocks.Prepare(mNumChannels, kBlockBytes);
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        vDSP_zvabs(&list.mSpectra[c], 1, Channel(mMagnitudeBuffer, c), 1, mNumBins);
        ComputeChannel(c);
        mBlocks.Store(c, Channel(mPhaseResultBuffer, c));
    }
    Deliver(kQelAnalysisKey_PhaseProperties);
}

} // namespace qel::core
