#include "timbre/AAMFCCPropertiesGenerator.h"

#include "elementary/Functions.h"
#include "spectral/mel/AAMelFrequencySpectralProcessor.h"

#include <Accelerate/Accelerate.h>

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numbers>

namespace qel::core {

namespace {

constexpr UInt32 kExtraBands = 27; // that the mel processor has room for, beyond its filters
constexpr auto kRootOfHalf = static_cast<float>(1.0 / std::numbers::sqrt2);
static_assert(std::bit_cast<std::uint32_t>(kRootOfHalf) == 0x3F3504F3);

const CFStringRef kKeys[AAMFCCPropertiesGenerator::kNumFlags] = {
    kQelAnalysisKey_MelFrequencyCepstralCoefficients,
    kQelAnalysisKey_MelSpectrum,
};

} // namespace

void MFCCSpectralFun(SpectralAndAudioBufferList* list, void* refCon) {
    static_cast<AAMFCCPropertiesGenerator*>(refCon)->ComputeAndStoreProperies(*list);
}

AAMFCCPropertiesGenerator::~AAMFCCPropertiesGenerator() {
    AAMFCCPropertiesGenerator::Cleanup();
}

void AAMFCCPropertiesGenerator::NullPointers() {
    QelAAAnalysisGenerator::NullPointers();
    mCepstralMatrix.forget();
    mMFCCBuffer.forget();
}

void AAMFCCPropertiesGenerator::Cleanup() {
    mSpectralProcessor.free();
    mMFCCBuffer.free();
    mCepstralMatrix.free();
    AAMFCCPropertiesGenerator::NullPointers();
}

void AAMFCCPropertiesGenerator::AllocateBuffers() {
    auto* processor =
        new AAMelFrequencySpectralProcessor(mFrameSize, mHopSize, mNumChannels, mMaxFrames, false,
                                            false, mNumCoefficients, mSampleRate);
    mSpectralProcessor = processor;
    processor->SetSpectralFunction(MFCCSpectralFun, this);
    processor->SetKeepsAudioFrames(false);
    processor->MakeFilterWeights1();
    MakeCepstralMatrix();
}

// The table of a cosine transform, in which the bands are the slow index and the coefficients the
// fast one.
void AAMFCCPropertiesGenerator::MakeCepstralMatrix() {
    mNumMelBands = mNumCoefficients + kExtraBands;
    mMFCCBuffer = NewBuffer("mfcc buffer", mNumMelBands * UInt64{sizeof(float)});
    mCepstralMatrix.alloc(std::size_t{mNumCoefficients} * mNumMelBands, true);
    const UInt32 half = mNumMelBands / 2;
    const auto scale = static_cast<float>(1.0 / std::sqrt(static_cast<double>(half)));
    const auto angle = static_cast<float>(std::numbers::pi / mNumMelBands);
    for (UInt32 i = 0; i < mNumMelBands; ++i) {
        float* const row = mCepstralMatrix + std::size_t{mNumCoefficients} * i;
        for (UInt32 j = 0; j < mNumCoefficients; ++j) {
            const double cosine = elementary::Cos(static_cast<double>(angle) * (j * (i + 0.5)));
            row[j] = static_cast<float>(cosine * static_cast<double>(scale));
        }
        row[0] *= kRootOfHalf;
    }
}

AAMFCCPropertiesGenerator::Flag AAMFCCPropertiesGenerator::FlagOf(CFStringRef key) {
    return static_cast<Flag>(IndexOf(key, kKeys));
}

SInt32 AAMFCCPropertiesGenerator::SetComputeProperty(CFArrayRef keys) {
    return RaiseFlags(keys, kKeys, kNumFlags);
}

UInt32 AAMFCCPropertiesGenerator::GetSizeOfAnalysisDataForKey(CFStringRef key) {
    switch (FlagOf(key)) {
    case kCoefficients:
        return mNumCoefficients * UInt32{sizeof(float)};
    case kMagnitudes:
        return mNumBins * UInt32{sizeof(float)};
    default:
        return QelAAAnalysisGenerator::GetSizeOfAnalysisDataForKey(key);
    }
}

CFPropertyListRef AAMFCCPropertiesGenerator::CreateCFRepresentation(
    CFAllocatorRef allocator, CFStringRef key, UInt32 count, const QelAudioAnalysisBlock* blocks) {
    return FloatRepresentation(allocator, key, FlagOf(key) != kNumFlags, count, blocks);
}

void AAMFCCPropertiesGenerator::ComputeAndStoreProperies(const SpectralAndAudioBufferList& list) {
    if (IsWanted(kCoefficients)) {
        ComputeMFCC(list);
    }
    if (IsWanted(kMagnitudes)) {
        ComputeMelSpectrum();
    }
}

// Required by the contract: the table is read with the coefficients as the slow index, across its
// layout, so that a row of the product is a run of 40 entries and no cosine; and only 13 of the 40
// bands have a filter, the logarithms of the others being 0. Any cleanup changes all values.
void AAMFCCPropertiesGenerator::ComputeMFCC(const SpectralAndAudioBufferList& list) {
    auto* processor = static_cast<AAMelFrequencySpectralProcessor*>(mSpectralProcessor.get());
    for (UInt32 c = 0; c < list.mNumChannels; ++c) {
        float* const coefficients = Channel(mMFCCBuffer, c);
        vDSP_mmul(mCepstralMatrix, 1, Channel(processor->GetLogEarList(), c), 1, coefficients, 1,
                  mNumCoefficients, 1, mNumMelBands);
        float squares = 0.0f;
        vDSP_svesq(coefficients, 1, &squares, mNumCoefficients);
        const float length = std::sqrt(squares);
        vDSP_vsdiv(coefficients, 1, &length, coefficients, 1, mNumCoefficients);
    }
    DeliverRows(kCoefficients, mMFCCBuffer);
}

// Required by the contract: the plain magnitudes, without the filters, whatever the key's name
// says. Applying the filters changes all values and their number.
void AAMFCCPropertiesGenerator::ComputeMelSpectrum() {
    auto* processor = static_cast<AAMelFrequencySpectralProcessor*>(mSpectralProcessor.get());
    DeliverRows(kMagnitudes, processor->GetMagnitudeList());
}

void AAMFCCPropertiesGenerator::DeliverRows(Flag flag, CABufferList* rows) {
    mBlocks.Prepare(mNumChannels, GetSizeOfAnalysisDataForKey(kKeys[flag]));
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        mBlocks.Store(c, Channel(rows, c));
    }
    Deliver(kKeys[flag]);
}

} // namespace qel::core
