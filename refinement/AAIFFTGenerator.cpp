#include "refinement/AAIFFTGenerator.h"

#include "spectral/phase/AAIFFTSpectralProcessor.h"

namespace qel::core {

namespace {

bool IsOurs(CFStringRef key) {
    return key != nullptr && CFEqual(key, kQelAnalysisKey_InstantaneousFrequency);
}

} // namespace

void MyIFFTSpectralFun(SpectralAndAudioBufferList*, void* refCon) {
    static_cast<AAIFFTGenerator*>(refCon)->GetSpectrumInstantFrequencies();
}

AAIFFTGenerator::~AAIFFTGenerator() {
    AAIFFTGenerator::Cleanup();
}

void AAIFFTGenerator::NullPointers() {
    QelAAAnalysisGenerator::NullPointers();
}

void AAIFFTGenerator::Cleanup() {
    mSpectralProcessor.free();
    AAIFFTGenerator::NullPointers();
}

void AAIFFTGenerator::AllocateBuffers() {
    mSpectralProcessor.free();
    mSpectralProcessor = new AAIFFTSpectralProcessor(mFrameSize, mHopSize, mNumChannels, mMaxFrames,
                                                     false, static_cast<float>(mSampleRate));
    mSpectralProcessor->SetSpectralFunction(MyIFFTSpectralFun, this);
    mSpectralProcessor->HanningWindow();
}

UInt32 AAIFFTGenerator::GetSizeOfAnalysisDataForKey(CFStringRef key) {
    return IsOurs(key) ? mNumBins * UInt32{sizeof(float)}
                       : QelAAAnalysisGenerator::GetSizeOfAnalysisDataForKey(key);
}

CFPropertyListRef AAIFFTGenerator::CreateCFRepresentation(CFAllocatorRef allocator, CFStringRef key,
                                                          UInt32 count,
                                                          const QelAudioAnalysisBlock* blocks) {
    return FloatRepresentation(allocator, key, IsOurs(key), count, blocks);
}

void AAIFFTGenerator::GetSpectrumInstantFrequencies() {
    const auto* processor = static_cast<const AAIFFTSpectralProcessor*>(mSpectralProcessor.get());
    const AudioBufferList* frequencies = processor->GetIFFTFrequencyBufferList();
    mBlocks.Prepare(mNumChannels,
                    GetSizeOfAnalysisDataForKey(kQelAnalysisKey_InstantaneousFrequency));
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        mBlocks.Store(c, frequencies->mBuffers[c].mData);
    }
    Deliver(kQelAnalysisKey_InstantaneousFrequency);
}

} // namespace qel::core
