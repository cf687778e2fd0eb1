#include "pitch/AAConstantQPropertiesGenerator.h"

#include "pitch/AAConstantQSpectralProcessor.h"

#include <algorithm>
#include <cmath>

namespace qel::core {

namespace {

constexpr float kMinFrequencyHz = 90.0f;
constexpr float kMaxFrequencyHz = 5250.0f;
// A hundredth of what a kernel's spectrum has at its centre: the mean of its window, 0.54.
constexpr float kSpectralThreshold = 0.54f / 100.0f;
static_assert(std::bit_cast<std::uint32_t>(kSpectralThreshold) == 0x3BB0F27C);

const CFStringRef kKeys[AAConstantQPropertiesGenerator::kNumKeys] = {
    kQelAnalysisKey_ConstantQSpectrum,
    kQelAnalysisKey_HarmonicPitchClassProfile,
};

} // namespace

void ConstantQSpectralFun(SpectralAndAudioBufferList* list, void* refCon) {
    static_cast<AAConstantQPropertiesGenerator*>(refCon)->ComputeAndStoreProperies(list);
}

AAConstantQPropertiesGenerator::~AAConstantQPropertiesGenerator() {
    AAConstantQPropertiesGenerator::Cleanup();
}

void AAConstantQPropertiesGenerator::NullPointers() {
    QelAAAnalysisGenerator::NullPointers();
    mMinMagnitudes.forget();
    mMaxMagnitudes.forget();
    mConstantQBuffer.forget();
    mChromaBuffer.forget();
}

void AAConstantQPropertiesGenerator::Cleanup() {
    mSpectralProcessor.free();
    mMinMagnitudes.free();
    mMaxMagnitudes.free();
    mConstantQBuffer.free();
    mChromaBuffer.free();
    AAConstantQPropertiesGenerator::NullPointers();
}

void AAConstantQPropertiesGenerator::AllocateBuffers() {
    // The earlier processor is freed after the new one exists, so that a reset finds the kernels
    // held.
    auto* processor = new AAConstantQSpectralProcessor(
        mFrameSize, mHopSize, mNumChannels, mMaxFrames, false, false, kMinFrequencyHz,
        kMaxFrequencyHz, mBinsPerOctave, mSampleRate, kSpectralThreshold);
    mSpectralProcessor = processor;
    processor->SetSpectralFunction(ConstantQSpectralFun, this);
    mNumConstantQBins = processor->GetNumConstantQBins();

    constexpr UInt64 kFloat = sizeof(float);
    mMinMagnitudes.alloc(mNumChannels, true);
    mMaxMagnitudes.alloc(mNumChannels, true);
    mConstantQBuffer = NewBuffer("constan Q computation buffer", mNumConstantQBins * kFloat);
    mChromaBuffer = NewBuffer("chroma computation buffer", mBinsPerOctave * kFloat);
}

AAConstantQPropertiesGenerator::Flag AAConstantQPropertiesGenerator::FlagOf(CFStringRef key) {
    return static_cast<Flag>(IndexOf(key, kKeys));
}

SInt32 AAConstantQPropertiesGenerator::SetComputeProperty(CFArrayRef keys) {
    return RaiseFlags(keys, kKeys, kNumFlags);
}

UInt32 AAConstantQPropertiesGenerator::GetSizeOfAnalysisDataForKey(CFStringRef key) {
    switch (FlagOf(key)) {
    case kConstantQSpectrum:
        return mNumConstantQBins * UInt32{sizeof(float)};
    case kHarmonicPitchClassProfile:
        return mBinsPerOctave * UInt32{sizeof(float)};
    default:
        return QelAAAnalysisGenerator::GetSizeOfAnalysisDataForKey(key);
    }
}

CFPropertyListRef AAConstantQPropertiesGenerator::CreateCFRepresentation(
    CFAllocatorRef allocator, CFStringRef key, UInt32 count, const QelAudioAnalysisBlock* blocks) {
    return FloatRepresentation(allocator, key, FlagOf(key) != kNumKeys, count, blocks);
}

void AAConstantQPropertiesGenerator::ComputeChromagramQ(const float* in, float* out) const {
    std::fill_n(out, mBinsPerOctave, 0.0f);
    for (UInt32 start = 0; start < mNumConstantQBins; start += mBinsPerOctave) {
        const UInt32 places = std::min(mBinsPerOctave, mNumConstantQBins - start);
        for (UInt32 b = 0; b < places; ++b) {
            out[b] += std::abs(in[start + b]);
        }
    }
}

void AAConstantQPropertiesGenerator::ComputeAndStoreProperies(
    const SpectralAndAudioBufferList* list) {
    auto* processor = static_cast<AAConstantQSpectralProcessor*>(mSpectralProcessor.get());
    processor->GetMagnitude(&mConstantQBuffer->GetModifiableBufferList(), mMinMagnitudes,
                            mMaxMagnitudes);
    for (UInt32 c = 0; c < list->mNumChannels; ++c) {
        ComputeChromagramQ(Channel(mConstantQBuffer, c), Channel(mChromaBuffer, c));
    }
    DeliverIfWanted(kConstantQSpectrum, mConstantQBuffer);
    DeliverIfWanted(kHarmonicPitchClassProfile, mChromaBuffer);
}

void AAConstantQPropertiesGenerator::DeliverIfWanted(Flag flag, CABufferList* values) {
    if (!IsWanted(flag)) {
        return;
    }
    mBlocks.Prepare(mNumChannels, GetSizeOfAnalysisDataForKey(kKeys[flag]));
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        mBlocks.Store(c, Channel(values, c));
    }
    Deliver(kKeys[flag]);
}

} // namespace qel::core
