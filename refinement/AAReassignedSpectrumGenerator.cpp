#include "refinement/AAReassignedSpectrumGenerator.h"

#include "refinement/AAReassignedFrames.h"
#include "refinement/AAReassignedMemory.h"
#include "refinement/AAReassignedSpectralProcessor.h"

#include <Accelerate/Accelerate.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <new>
#include <vector>

namespace qel::core {

namespace {

constexpr UInt32 kFloatBytes = sizeof(float);
constexpr UInt32 kComplexBytes = 2 * kFloatBytes;

bool IsOurs(CFStringRef key) {
    return key != nullptr && CFEqual(key, kQelAnalysisKey_ReasignedSpectrum);
}

// Of a block that the stores add when what was trusted is full.
constexpr std::size_t kBlockBytes = std::size_t{1} << 25;

void PreferLargePagesOfLastBlock(const FrameStore& store) {
    if (const std::size_t blocks = store.BlockCount(); blocks > 0) {
        PreferLargePages(store.Block(blocks - 1), store.BytesOfBlock(blocks - 1));
    }
}

// Most values go to rows near their own frame's, and in the row to no place that the processor
// would expect: it is told some frames before.
constexpr UInt32 kRowsAhead = 4;

void PrefetchRow(const float* row, UInt32 floats) {
    constexpr UInt32 kFloatsPerLine = 16;
    for (UInt32 i = 0; i < floats; i += kFloatsPerLine) {
        __builtin_prefetch(row + i, 1);
    }
}

// Integers as places from 1 to `most`.
void Clamp(int* places, UInt32 count, int most) {
    for (UInt32 k = 0; k < count; ++k) {
        places[k] = std::max(std::min(places[k], most), 1);
    }
}

} // namespace

void MySpectralFun(SpectralAndAudioBufferList* list, void* refCon) {
    static_cast<AAReassignedSpectrumGenerator*>(refCon)->ComputeAndStoreProperties(*list);
}

AAReassignedSpectrumGenerator::~AAReassignedSpectrumGenerator() {
    AAReassignedSpectrumGenerator::Cleanup();
}

void AAReassignedSpectrumGenerator::NullPointers() {
    mSpectrumBuffers.forget();
    for (auto* store : {&mSpectrumStore, &mCIFStore, &mLGDStore}) {
        store->forget();
    }
    QelAAAnalysisGenerator::NullPointers();
}

void AAReassignedSpectrumGenerator::Cleanup() {
    mSpectralProcessor.free();
    mSpectrumBuffers.free();
    for (auto* store : {&mSpectrumStore, &mCIFStore, &mLGDStore}) {
        store->free();
    }
    mStoredFrames = 0.0; // nothing is read of stores that are not there
    AAReassignedSpectrumGenerator::NullPointers();
}

void AAReassignedSpectrumGenerator::AllocateBuffers() {
    mSpectralProcessor.free();
    mSpectralProcessor = new AAReassignedSpectralProcessor(
        mFrameSize, mHopSize, mNumChannels, mMaxFrames, false, static_cast<float>(mSampleRate));
    mSpectralProcessor->SetSpectralFunction(MySpectralFun, this);
    mSpectralProcessor->HanningWindow();
    mStoredFrames = 0.0;
    mSpectrumBuffers = NewBuffer("spectrum buffer", UInt64{mNumBins} * kComplexBytes);
    // A reset gives the old stores back before it makes new ones.
    for (auto* store : {&mSpectrumStore, &mCIFStore, &mLGDStore}) {
        store->free();
    }
    mSpectrumStore = NewFrameStore(mNumBins * kComplexBytes);
    mCIFStore = NewFrameStore(mNumBins * kFloatBytes);
    mLGDStore = NewFrameStore(mNumBins * kFloatBytes);
}

// As many frames as are trusted of the largest store are reserved in all of them.
FrameStore* AAReassignedSpectrumGenerator::NewFrameStore(UInt32 bytesPerFrame) const {
    const UInt64 largestFrame = UInt64{mNumBins} * kComplexBytes * mNumChannels;
    const UInt64 trusted = mTrustedBytes / std::max(largestFrame, UInt64{1});
    CAAutoDelete<FrameStore> store(new FrameStore(mNumChannels, bytesPerFrame, kBlockBytes));
    store->Reserve(std::min<UInt64>(trusted, mNumAnalysisFrames));
    PreferLargePagesOfLastBlock(*store);
    return store.release();
}

// Of a stream that was declared without any frame, nothing is kept but its length.
void AAReassignedSpectrumGenerator::Keep(FrameStore& store, const AudioBufferList& list) const {
    if (mNumAnalysisFrames == 0) {
        return;
    }
    const UInt64 place = static_cast<UInt64>(mStoredFrames) % mNumAnalysisFrames;
    if (place >= store.Room()) {
        store.MakeRoom(place + 1);
        PreferLargePagesOfLastBlock(store);
    }
    store.Store(list, 1, place);
}

UInt32 AAReassignedSpectrumGenerator::GetSizeOfAnalysisDataForKey(CFStringRef key) {
    return IsOurs(key) ? mNumBins * kComplexBytes
                       : QelAAAnalysisGenerator::GetSizeOfAnalysisDataForKey(key);
}

CFPropertyListRef AAReassignedSpectrumGenerator::CreateCFRepresentation(
    CFAllocatorRef allocator, CFStringRef key, UInt32 count, const QelAudioAnalysisBlock* blocks) {
    return FloatRepresentation(allocator, key, IsOurs(key), count, blocks);
}

void AAReassignedSpectrumGenerator::ComputeAndStoreProperties(
    const SpectralAndAudioBufferList& list) {
    const auto* processor =
        static_cast<const AAReassignedSpectralProcessor*>(mSpectralProcessor.get());
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        auto* const interleaved = reinterpret_cast<DSPComplex*>(Channel(mSpectrumBuffers, c));
        vDSP_ztoc(&list.mSpectra[c], 1, interleaved, 2, mNumBins);
    }
    Keep(*mSpectrumStore, mSpectrumBuffers->GetBufferList());
    Keep(*mCIFStore, *processor->GetCIFBufferList());
    Keep(*mLGDStore, *processor->GetLGDBufferList());
    mStoredFrames += 1.0;
}

SInt32 AAReassignedSpectrumGenerator::ProcessFinal(UInt8 flush) {
    const auto frames = static_cast<UInt64>(mStoredFrames);
    // Places are numbered in 31 bits, blocks in 32.
    if (frames > static_cast<UInt64>(std::numeric_limits<int>::max()) ||
        frames * mNumChannels > std::numeric_limits<UInt32>::max()) {
        throw std::bad_alloc();
    }
    const std::size_t matrixFloats = std::size_t{2} * mNumBins * frames;
    const auto count = static_cast<UInt32>(frames * mNumChannels);
    const CAAutoFree<QelAudioAnalysisBlock> blocks(count, true);
    const CAAutoFree<float> matrix(mNumChannels * matrixFloats, true);
    PreferLargePages(matrix, mNumChannels * matrixFloats * kFloatBytes);
    if (frames > 0) {
        Scatter(static_cast<UInt32>(frames), matrix);
        for (UInt32 c = 0; c < mNumChannels; ++c) {
            blocks[c * frames] = {matrix + c * matrixFloats,
                                  GetSizeOfAnalysisDataForKey(kQelAnalysisKey_ReasignedSpectrum)};
        }
    }
    mDataCallback(nullptr, kQelAnalysisKey_ReasignedSpectrum, count, blocks, mDataRefCon);
    return QelAAAnalysisGenerator::ProcessFinal(flush);
}

// What the stores no longer have, or never had, is silence, which would add zeros to the first
// place.
void AAReassignedSpectrumGenerator::Scatter(UInt32 frames, float* matrix) const {
    AAReassignedFrames spectra(*mSpectrumStore, mNumAnalysisFrames, frames);
    AAReassignedFrames frequencies(*mCIFStore, mNumAnalysisFrames, frames);
    AAReassignedFrames times(*mLGDStore, mNumAnalysisFrames, frames);
    std::vector<int> toBin(mNumBins);
    std::vector<int> toFrame(mNumBins);
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        float* const channel = matrix + std::size_t{2} * mNumBins * frames * c;
        for (UInt32 f = 0; f < spectra.Count(); ++f) {
            PrefetchRow(channel + std::size_t{2} * mNumBins * std::min(f + kRowsAhead, frames - 1),
                        2 * mNumBins);
            const float* const spectrum = spectra.Frame(c, f);
            vDSP_vfixr32(frequencies.Frame(c, f), 1, toBin.data(), 1, mNumBins);
            vDSP_vfixr32(times.Frame(c, f), 1, toFrame.data(), 1, mNumBins);
            Clamp(toBin.data(), mNumBins, static_cast<int>(mNumBins));
            Clamp(toFrame.data(), mNumBins, static_cast<int>(frames));
            for (UInt32 k = 0; k < mNumBins; ++k) {
                const auto row = static_cast<std::size_t>(toFrame[k] - 1);
                const auto column = static_cast<std::size_t>(toBin[k] - 1);
                float* const cell = channel + 2 * (row * mNumBins + column);
                const float real = cell[0] + spectrum[2 * k];
                const float imag = cell[1] + spectrum[2 * k + 1];
                cell[0] = real;
                cell[1] = imag;
            }
        }
    }
}

} // namespace qel::core
