#include "rhythm/tempomap/AAAccentBandGenerator.h"

#include "engine/base/KeyFacts.h"
#include "rhythm/math/ButterworthLowPass.h"
#include "rhythm/math/RhythmMath.h"
#include "rhythm/tempomap/AAGammaBankSpectralProcessor.h"
#include "spectral/VectorHelpers.h"

#include <Accelerate/Accelerate.h>

#include <algorithm>
#include <limits>
#include <new>

namespace qel::core {

namespace {

constexpr UInt32 kFloat = sizeof(float);
static_assert(KeyTable::GammaTomeSpectrum.payloadBytes == kGammaBands * kFloat);

} // namespace

void AccentSpectralFun(SpectralAndAudioBufferList*, void* refCon) {
    static_cast<AAAccentBandGenerator*>(refCon)->ComputeAndStoreProperties();
}

AAAccentBandGenerator::AAAccentBandGenerator(UInt32 channels, Float64 sampleRate, UInt32 frameSize,
                                             UInt32 hop, UInt32 maxFrames, UInt32 streamLength,
                                             DataCallback dataCallback, void* refCon)
    : QelAAAnalysisGenerator(channels, sampleRate, frameSize, hop, maxFrames, streamLength,
                             dataCallback, refCon) {
    SetDefaultParameters();
    AAAccentBandGenerator::ComputeNumberOfAnalysisFramesForLength(streamLength);
    mNumAnalysisFrames *= 2; // two accents per frame
}

AAAccentBandGenerator::~AAAccentBandGenerator() {
    AAAccentBandGenerator::Cleanup();
}

void AAAccentBandGenerator::SetDefaultParameters() {
    mMuLawFactor = 10000.0f;
    mDifferenceBlend = 0.8f;
    // The accent rate over the cut-off of the low-pass, times the blend.
    constexpr double kRateOverCutoff = 172.0 / 10.0;
    static_assert(kRateOverCutoff == 17.2);
    mDifferenceFactor = static_cast<float>(kRateOverCutoff * mDifferenceBlend);
}

SInt32 AAAccentBandGenerator::SetComputeProperty(CFArrayRef keys) {
    const CFStringRef ownKeys[] = {kQelAnalysisKey_GammaTomeSpectrum};
    return RaiseFlags(keys, ownKeys, kNumFlags);
}

UInt32 AAAccentBandGenerator::GetSizeOfAnalysisDataForKey(CFStringRef key) {
    if (key != nullptr && CFEqual(key, kQelAnalysisKey_GammaTomeSpectrum)) {
        return KeyTable::GammaTomeSpectrum.payloadBytes;
    }
    return QelAAAnalysisGenerator::GetSizeOfAnalysisDataForKey(key);
}

CFPropertyListRef
AAAccentBandGenerator::CreateCFRepresentation(CFAllocatorRef allocator, CFStringRef key,
                                              UInt32 count, const QelAudioAnalysisBlock* blocks) {
    const bool isOwn = CFEqual(key, kQelAnalysisKey_GammaTomeSpectrum);
    return FloatRepresentation(allocator, key, isOwn, count, blocks);
}

void AAAccentBandGenerator::NullPointers() {
    QelAAAnalysisGenerator::NullPointers();
    mGammaBank = nullptr;
    for (auto* list : {&mCompressedList, &mCurrentList, &mPreviousList, &mDifferenceList,
                       &mButterworthList, &mAccentList0, &mAccentList1}) {
        list->forget();
    }
    mZeroInput.forget();
}

void AAAccentBandGenerator::Cleanup() {
    mSpectralProcessor.free();
    for (auto* list : {&mCompressedList, &mCurrentList, &mPreviousList, &mDifferenceList,
                       &mButterworthList, &mAccentList0, &mAccentList1}) {
        list->free();
    }
    mZeroInput.free();
    AAAccentBandGenerator::NullPointers();
}

CAAutoDelete<CABufferList> AAAccentBandGenerator::NewBandBuffer(const char* name,
                                                                UInt64 floats) const {
    constexpr UInt64 kMost = std::numeric_limits<UInt32>::max();
    if (floats > kMost / kFloat || mNumChannels > kMost / mAccentBandCount) {
        throw std::bad_alloc();
    }
    CAStreamBasicDescription format;
    format.SetCanonical(mNumChannels * mAccentBandCount, false);
    format.mSampleRate = mSampleRate;
    CAAutoDelete<CABufferList> buffer = CABufferList::New(name, format);
    buffer->AllocateBuffers(static_cast<UInt32>(floats * kFloat));
    return buffer;
}

void AAAccentBandGenerator::AllocateBuffers() {
    mSpectralProcessor.free();
    mGammaBank = new AAGammaBankSpectralProcessor(mFrameSize, mHopSize, mNumChannels, mMaxFrames,
                                                  false, false, mSampleRate);
    mSpectralProcessor = mGammaBank;
    mSpectralProcessor->SetSpectralFunction(AccentSpectralFun, this);
    mSpectralProcessor->SetKeepsAudioFrames(false);
    mSpectralProcessor->HanningWindow();

    mCompressedList = NewBuffer("compressed buffer", kGammaBands * kFloat);
    mCurrentList = NewBuffer("current buffer", kGammaBands * kFloat);
    mPreviousList = NewBuffer("previous buffer", kGammaBands * kFloat);
    mDifferenceList = NewBuffer("difference buffer", kGammaBands * kFloat);
    mZeroInput.alloc(kGammaBands, true);
    mButterworthList = NewBuffer("butterworth buffer", kGammaBands * kButterworthOrder * kFloat);
    mAccentList0 = NewBandBuffer("accent buffer 0", 1);
    mAccentList1 = NewBandBuffer("accent buffer 1", 1);
}

void AAAccentBandGenerator::ComputeAndStoreProperties() {
    if (IsWanted(kGammaSpectrum)) {
        GetFilteredSpectrum();
    }
    if (IsWanted(kAccentBands)) {
        MakeAccentBands();
    }
}

void AAAccentBandGenerator::GetFilteredSpectrum() {
    CABufferList* const filtered = mGammaBank->GetFilteredBufferList();
    mBlocks.Prepare(mNumChannels, GetSizeOfAnalysisDataForKey(kQelAnalysisKey_GammaTomeSpectrum));
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        mBlocks.Store(c, Channel(filtered, c));
    }
    Deliver(kQelAnalysisKey_GammaTomeSpectrum);
}

void AAAccentBandGenerator::Compress(const float* bands, float* compressed) const {
    MuLawCompress(bands, kGammaBands, compressed, mMuLawFactor);
}

void AAAccentBandGenerator::ButterworthFilter(float* state, const float* in, float* out) {
    for (UInt32 b = 0; b < kGammaBands; ++b) {
        filter(butterA.data(), butterB.data(), kButterworthOrder, state + b * kButterworthOrder,
               in[b], out[b]);
    }
}

void AAAccentBandGenerator::WeightedRectifiedDifference(const float* current, float* previous,
                                                        float* difference) const {
    vDSP_vsub(previous, 1, current, 1, difference, 1, kGammaBands);
    std::copy_n(current, kGammaBands, previous);
    HalfWaveRectify(difference, kGammaBands, difference);
    const float levelShare = 1.0f - mDifferenceBlend;
    for (UInt32 b = 0; b < kGammaBands; ++b) {
        difference[b] = current[b] * levelShare + difference[b] * mDifferenceFactor;
    }
}

// One gamma band represents its group: the accent is that of the highest one, not a sum.
void AAAccentBandGenerator::Reduce(const float* bands, UInt32 channel,
                                   CABufferList* accents) const {
    const UInt32 group = kGammaBands / mAccentBandCount;
    for (UInt32 a = 0; a < mAccentBandCount; ++a) {
        *Channel(accents, mAccentBandCount * channel + a) = bands[a * group + group - 1];
    }
}

void AAAccentBandGenerator::MakeAccentBands(UInt32 channel, const float* input,
                                            CABufferList* accents) {
    float* const current = Channel(mCurrentList, channel);
    float* const difference = Channel(mDifferenceList, channel);
    ButterworthFilter(Channel(mButterworthList, channel), input, current);
    WeightedRectifiedDifference(current, Channel(mPreviousList, channel), difference);
    Reduce(difference, channel, accents);
}

void AAAccentBandGenerator::MakeAccentBands() {
    CABufferList* const filtered = mGammaBank->GetFilteredBufferList();
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        float* const compressed = Channel(mCompressedList, c);
        Compress(Channel(filtered, c), compressed);
        MakeAccentBands(c, compressed, mAccentList0);
        MakeAccentBands(c, mZeroInput, mAccentList1);
    }
}

} // namespace qel::core
