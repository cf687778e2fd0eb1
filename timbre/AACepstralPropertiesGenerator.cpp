#include "timbre/AACepstralPropertiesGenerator.h"

#include <Accelerate/Accelerate.h>

namespace qel::core {

namespace {

constexpr float kFloor = 0.001f; // of magnitudes: 60 dB below 1

bool IsOurs(CFStringRef key) {
    return key != nullptr && CFEqual(key, kQelAnalysisKey_Cepstrum);
}

} // namespace

void CepstrumSpectralFun1(SpectralAndAudioBufferList*, void* refCon) {
    static_cast<AACepstralPropertiesGenerator*>(refCon)->ComputeAndStoreProperties();
}

void CepstrumSpectralFun2(SpectralAndAudioBufferList*, void* refCon) {
    static_cast<AACepstralPropertiesGenerator*>(refCon)
        ->ComputeAndStoreCepstrumSpectralProperties();
}

AACepstralPropertiesGenerator::AACepstralPropertiesGenerator(UInt32 channels, Float64 sampleRate,
                                                             UInt32 frameSize, UInt32 hop,
                                                             UInt32 maxFrames, UInt32 streamLength,
                                                             DataCallback dataCallback,
                                                             void* refCon)
    : QelAAAnalysisGenerator(channels, sampleRate, frameSize, hop, maxFrames, streamLength,
                             dataCallback, refCon),
      mCepstrumFrameSize(mFrameSize / 2), mCepstrumHopSize(mCepstrumFrameSize),
      mNumCepstrumBins(mCepstrumFrameSize / 2) {
    AACepstralPropertiesGenerator::NullPointers();
}

AACepstralPropertiesGenerator::~AACepstralPropertiesGenerator() {
    AACepstralPropertiesGenerator::Cleanup();
}

void AACepstralPropertiesGenerator::NullPointers() {
    QelAAAnalysisGenerator::NullPointers();
    mCepstrumProcessor.forget();
    mMagnitudeBuffer.forget();
    mCepstrumMagnitudeBuffer.forget();
    mMinMagnitudes.forget();
    mMaxMagnitudes.forget();
}

void AACepstralPropertiesGenerator::Cleanup() {
    mSpectralProcessor.free();
    mCepstrumProcessor.free();
    mMagnitudeBuffer.free();
    mCepstrumMagnitudeBuffer.free();
    mMinMagnitudes.free();
    mMaxMagnitudes.free();
    AACepstralPropertiesGenerator::NullPointers();
}

void AACepstralPropertiesGenerator::AllocateBuffers() {
    mSpectralProcessor =
        new QelAASpectralProcessor(mFrameSize, mHopSize, mNumChannels, mMaxFrames, false, false);
    mSpectralProcessor->SetSpectralFunction(CepstrumSpectralFun1, this);
    mCepstrumProcessor = new QelAASpectralProcessor(mCepstrumFrameSize, mCepstrumHopSize,
                                                    mNumChannels, mMaxFrames, false, false);
    mCepstrumProcessor->SetSpectralFunction(CepstrumSpectralFun2, this);

    constexpr UInt64 kFloat = sizeof(float);
    mMagnitudeBuffer = NewBuffer("spectrum current magnitude buffer", mNumBins * kFloat);
    mCepstrumMagnitudeBuffer =
        NewBuffer("cepstrum spectrum current magnitude buffer", mNumCepstrumBins * kFloat);
    mMinMagnitudes.alloc(mNumChannels, true);
    mMaxMagnitudes.alloc(mNumChannels, true);
}

UInt32 AACepstralPropertiesGenerator::GetSizeOfAnalysisDataForKey(CFStringRef key) {
    return IsOurs(key) ? mNumCepstrumBins * UInt32{sizeof(float)}
                       : QelAAAnalysisGenerator::GetSizeOfAnalysisDataForKey(key);
}

CFPropertyListRef AACepstralPropertiesGenerator::CreateCFRepresentation(
    CFAllocatorRef allocator, CFStringRef key, UInt32 count, const QelAudioAnalysisBlock* blocks) {
    return FloatRepresentation(allocator, key, IsOurs(key), count, blocks);
}

// One frame of audio: exactly one frame of the second stage, worked on here and now.
void AACepstralPropertiesGenerator::ComputeAndStoreProperties() {
    AudioBufferList& magnitudes = mMagnitudeBuffer->GetModifiableBufferList();
    mSpectralProcessor->GetMagnitude(&magnitudes, mMinMagnitudes, mMaxMagnitudes);
    const auto count = static_cast<int>(mNumBins);
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        float* const values = Channel(mMagnitudeBuffer, c);
        vDSP_vthr(values, 1, &kFloor, values, 1, mNumBins);
        vvlogf(values, values, &count);
    }
    mCepstrumProcessor->ProcessForwards(mCepstrumFrameSize, &magnitudes);
}

void AACepstralPropertiesGenerator::ComputeAndStoreCepstrumSpectralProperties() {
    mCepstrumProcessor->GetMagnitude(&mCepstrumMagnitudeBuffer->GetModifiableBufferList(),
                                     mMinMagnitudes, mMaxMagnitudes);
    mBlocks.Prepare(mNumChannels, GetSizeOfAnalysisDataForKey(kQelAnalysisKey_Cepstrum));
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        mBlocks.Store(c, Channel(mCepstrumMagnitudeBuffer, c));
    }
    Deliver(kQelAnalysisKey_Cepstrum);
}

} // namespace qel::core
