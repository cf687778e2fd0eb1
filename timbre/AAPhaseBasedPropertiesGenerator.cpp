#include "timbre/AAPhaseBasedPropertiesGenerator.h"

#include <Accelerate/Accelerate.h>
#include <algorithm>
#include <cmath>

#include "spectral/VectorHelpers.h"
#include "support/CACFArray.h"
#include "support/CACFDictionary.h"
#include "timbre/AAPhaseBasedSpectralProcessor.h"
#include "timbre/PrincArg.h"

namespace qel::core {

namespace {

constexpr UInt32 kBlockBytes = AAPhaseBasedPropertiesGenerator::kNumValues * UInt32{sizeof(float)};

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
    for (UInt32 i = 0; i < std::min(floats, AAPhaseBasedPropertiesGenerator::kNumValues); ++i)
        dict.AddFloat32(kNames[i], values[i]);
}

} // namespace

void MyPhaseSpectralFun(SpectralAndAudioBufferList*, void* refCon) {
    static_cast<AAPhaseBasedPropertiesGenerator*>(refCon)->ComputeAndStoreProperties();
}

AAPhaseBasedPropertiesGenerator::AAPhaseBasedPropertiesGenerator(
    UInt32 channels, Float64 sampleRate, UInt32 frameSize, UInt32 hop, UInt32 maxFrames,
    UInt32 streamLength, DataCallback dataCallback, void* refCon)
    : QelAAAnalysisGenerator(channels, sampleRate, frameSize, hop, maxFrames, streamLength,
                             dataCallback, refCon) {
    AAPhaseBasedPropertiesGenerator::NullPointers();
}

AAPhaseBasedPropertiesGenerator::~AAPhaseBasedPropertiesGenerator() {
    AAPhaseBasedPropertiesGenerator::Cleanup();
}

void AAPhaseBasedPropertiesGenerator::NullPointers() {
    QelAAAnalysisGenerator::NullPointers();
    for (auto* vector : {&mMinMagnitudes, &mMaxMagnitudes, &mScratch})
        (void)vector->release();
    for (auto* list : {&mMagnitudeBuffer, &mPreviousMagnitudeBuffer, &mPreviousPhaseBuffer,
                       &mPreviousPhaseDiffBuffer, &mFirstDerivativeBuffer, &mSecondDerivativeBuffer,
                       &mPhaseResultBuffer})
        (void)list->release();
}

void AAPhaseBasedPropertiesGenerator::Cleanup() {
    mSpectralProcessor.free();
    for (auto* vector : {&mMinMagnitudes, &mMaxMagnitudes, &mScratch})
        vector->free();
    for (auto* list : {&mMagnitudeBuffer, &mPreviousMagnitudeBuffer, &mPreviousPhaseBuffer,
                       &mPreviousPhaseDiffBuffer, &mFirstDerivativeBuffer, &mSecondDerivativeBuffer,
                       &mPhaseResultBuffer})
        list->free();
    AAPhaseBasedPropertiesGenerator::NullPointers();
}

void AAPhaseBasedPropertiesGenerator::AllocateBuffers() {
    mSpectralProcessor = new AAPhaseBasedSpectralProcessor(
        mFrameSize, mHopSize, mNumChannels, mMaxFrames, false, static_cast<float>(mSampleRate));
    mSpectralProcessor->SetSpectralFunction(MyPhaseSpectralFun, this);

    mMinMagnitudes.alloc(mNumChannels, true);
    mMaxMagnitudes.alloc(mNumChannels, true);
    mScratch.alloc(mNumBins, true);
    const UInt64 bytes = mNumBins * UInt64{sizeof(float)};
    mMagnitudeBuffer = NewBuffer("spectrum current magnitude buffer", bytes);
    mPreviousMagnitudeBuffer = NewBuffer("spectrum previous magnitude buffer", bytes);
    mPreviousPhaseBuffer = NewBuffer("spectrum previous phase buffer", bytes);
    mPreviousPhaseDiffBuffer = NewBuffer("spectrum previous phase diff buffer", bytes);
    mFirstDerivativeBuffer = NewBuffer("spectrum phase first derivitive buffer", bytes);
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

void AAPhaseBasedPropertiesGenerator::ComputeFirstPhaseDifference(const float* a, const float* b,
                                                                  float* c) const {
    vDSP_vsub(a, 1, b, 1, c, 1, mNumBins);
    PrincArg(c, mNumBins);
}

void AAPhaseBasedPropertiesGenerator::ComputeSecondPhaseDifference(const float* a, const float* b,
                                                                   float* c) const {
    ComputeFirstPhaseDifference(a, b, c);
}

float AAPhaseBasedPropertiesGenerator::ComputePhaseDeviation(const float* secondDifferences) const {
    float sum = 0.0f;
    vDSP_svemg(secondDifferences, 1, &sum, mNumBins);
    return sum / static_cast<float>(mNumBins);
}

float AAPhaseBasedPropertiesGenerator::ComputeWeightedPhaseDeviation(
    const float* magnitudes, const float* secondDifferences) {
    vDSP_vmul(magnitudes, 1, secondDifferences, 1, mScratch, 1, mNumBins);
    return ComputePhaseDeviation(mScratch);
}

float AAPhaseBasedPropertiesGenerator::ComputeNormaliedWeightedPhaseDeviation(
    const float* magnitudes, float weightedDeviation) const {
    float sum = 0.0f;
    vDSP_svemg(magnitudes, 1, &sum, mNumBins);
    return sum == 0.0f ? 0.0f : weightedDeviation / sum;
}

// The prediction takes a phase for the exponent of a real exponential and is no rotation: meant.
// The sum is formed in rising order.
float AAPhaseBasedPropertiesGenerator::ComputeComplexSpectralDifference(
    const float* magnitudes, const float* previousMagnitudes, const float* previousPhases,
    const float* previousDifferences) {
    const auto count = static_cast<int>(mNumBins);
    vDSP_vadd(previousPhases, 1, previousDifferences, 1, mScratch, 1, mNumBins);
    vvexpf(mScratch, mScratch, &count);
    vDSP_vmul(previousMagnitudes, 1, mScratch, 1, mScratch, 1, mNumBins);
    vDSP_vsub(mScratch, 1, magnitudes, 1, mScratch, 1, mNumBins);
    float sum = 0.0f;
    for (UInt32 i = 0; i < mNumBins; ++i)
        sum += std::abs(mScratch[i]);
    return sum;
}

// A sum of magnitudes is never negative, so that this is a copy: meant.
void AAPhaseBasedPropertiesGenerator::ComputeRectifiedComplexSpectralDifference(
    const float* difference, float* rectified) {
    HalfWaveRectify(difference, 1, rectified);
}

void AAPhaseBasedPropertiesGenerator::ComputeChannel(UInt32 channel, const float* phases) {
    const float* const magnitudes = Channel(mMagnitudeBuffer, channel);
    float* const previousMagnitudes = Channel(mPreviousMagnitudeBuffer, channel);
    float* const previousPhases = Channel(mPreviousPhaseBuffer, channel);
    float* const previousDifferences = Channel(mPreviousPhaseDiffBuffer, channel);
    float* const first = Channel(mFirstDerivativeBuffer, channel);
    float* const second = Channel(mSecondDerivativeBuffer, channel);
    float* const out = Channel(mPhaseResultBuffer, channel);

    ComputeFirstPhaseDifference(phases, previousPhases, first);
    ComputeSecondPhaseDifference(first, previousDifferences, second);
    out[0] = ComputePhaseDeviation(second);
    out[1] = ComputeWeightedPhaseDeviation(magnitudes, second);
    out[2] = ComputeNormaliedWeightedPhaseDeviation(magnitudes, out[1]);
    out[3] = ComputeComplexSpectralDifference(magnitudes, previousMagnitudes, previousPhases,
                                              previousDifferences);
    ComputeRectifiedComplexSpectralDifference(&out[3], &out[4]);

    std::copy_n(magnitudes, mNumBins, previousMagnitudes);
    std::copy_n(phases, mNumBins, previousPhases);
    std::copy_n(first, mNumBins, previousDifferences);
}

void AAPhaseBasedPropertiesGenerator::ComputeAndStoreProperties() {
    auto* processor = static_cast<AAPhaseBasedSpectralProcessor*>(mSpectralProcessor.get());
    processor->GetMagnitude(&mMagnitudeBuffer->GetModifiableBufferList(), mMinMagnitudes,
                            mMaxMagnitudes);
    const AudioBufferList* phases = processor->GetPhaseBufferList();
    mBlocks.Prepare(mNumChannels, kBlockBytes);
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        ComputeChannel(c, static_cast<const float*>(phases->mBuffers[c].mData));
        mBlocks.Store(c, Channel(mPhaseResultBuffer, c));
    }
    Deliver(kQelAnalysisKey_PhaseProperties);
}

} // namespace qel::core
