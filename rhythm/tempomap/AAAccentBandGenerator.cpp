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

    const UInt32 bytes = mAccentBandCount * kFloat;
    mCompressedList = NewBuffer("compressed buffer", bytes);
    mCurrentList = NewBuffer("current buffer", bytes);
    mPreviousList = NewBuffer("previous buffer", bytes);
    mDifferenceList = NewBuffer("difference buffer", bytes);
    mZeroInput.alloc(mAccentBandCount, true);
    mButterworthList = NewBuffer("butterworth buffer", kButterworthOrder * bytes);
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

void AAAccentBandGenerator::FilterAccentBandsAlone() {
    mGammaBank->GiveHighestOfEvery(GroupSize());
}

// Gamma bands per accent band.
UInt32 AAAccentBandGenerator::GroupSize() const {
    return kGammaBands / mAccentBandCount;
}

// One gamma band represents its group: the accent is that of the highest one, not a sum. All that
// follows treats each band for itself, so that the others need not be computed.
void AAAccentBandGenerator::Reduce(const float* filtered, float* accentBands) const {
    const UInt32 group = GroupSize();
    for (UInt32 a = 0; a < mAccentBandCount; ++a) {
        accentBands[a] = filtered[mGammaBank->IndexOfBand(a * group + group - 1)];
    }
}

void AAAccentBandGenerator::Compress(const float* bands, float* compressed) const {
    MuLawCompress(bands, mAccentBandCount, compressed, mMuLawFactor);
}

void AAAccentBandGenerator::ButterworthFilter(float* state, const float* in, float* out) const {
    for (UInt32 b = 0; b < mAccentBandCount; ++b) {
        filter(butterA.data(), butterB.data(), kButterworthOrder, state + b * kButterworthOrder,
               in[b], out[b]);
    }
}

void AAAccentBandGenerator::WeightedRectifiedDifference(const float* current, float* previous,
                                                        float* difference) const {
    vDSP_vsub(previous, 1, current, 1, difference, 1, mAccentBandCount);
    std::copy_n(current, mAccentBandCount, previous);
    HalfWaveRectify(difference, mAccentBandCount, difference);
    const float levelShare = 1.0f - mDifferenceBlend;
    for (UInt32 b = 0; b < mAccentBandCount; ++b) {
        difference[b] = current[b] * levelShare + difference[b] * mDifferenceFactor;
    }
}

void AAAccentBandGenerator::MakeAccentBands(UInt32 channel, const float* input,
                                            CABufferList* accents) {
    float* const current = Channel(mCurrentList, channel);
    float* const difference = Channel(mDifferenceList, channel);
    ButterworthFilter(Channel(mButterworthList, channel), input, current);
    WeightedRectifiedDifference(current, Channel(mPreviousList, channel), difference);
    for (UInt32 a = 0; a < mAccentBandCount; ++a) {
        *Channel(accents, mAccentBandCount * channel + a) = difference[a];
    }
}

void AAAccentBandGenerator::MakeAccentBands() {
    CABufferList* const filtered = mGammaBank->GetFilteredBufferList();
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        float* const compressed = Channel(mCompressedList, c);
        Reduce(Channel(filtered, c), compressed);
        Compress(compressed, compressed);
        MakeAccentBands(c, compressed, mAccentList0);
        MakeAccentBands(c, mZeroInput, mAccentList1);
    }
}

} // namespace qel::core
