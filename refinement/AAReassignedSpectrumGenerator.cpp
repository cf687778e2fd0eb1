#include "refinement/AAReassignedSpectrumGenerator.h"

#include "refinement/AAReassignedMemory.h"
#include "refinement/AAReassignedReplay.h"
#include "refinement/AAReassignedSpectralProcessor.h"

#include <Accelerate/Accelerate.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <new>

namespace qel::core {

namespace {

constexpr UInt32 kFloatBytes = sizeof(float);
constexpr UInt32 kComplexBytes = 2 * kFloatBytes;

bool IsOurs(CFStringRef key) {
    return key != nullptr && CFEqual(key, kQelAnalysisKey_ReasignedSpectrum);
}

// Of addresses. Who declares so much and has less cannot analyze it.
constexpr UInt64 kAlwaysThereBytes = (UInt64{1} << 30) - (UInt64{1} << 20);

// Of a block that the store of audio adds when what was trusted is full.
constexpr std::size_t kBlockBytes = std::size_t{1} << 22;

} // namespace

// What the callback of frames that are worked out again needs.
struct AAReassignedSpectrumGenerator::Again {
    AAReassignedSpectrumGenerator& generator;
    AAReassignedReplay& replay;
    const AAReassignedSpectralProcessor* processor;
};

void MySpectralFun(SpectralAndAudioBufferList* list, void* refCon) {
    static_cast<AAReassignedSpectrumGenerator*>(refCon)->ComputeAndStoreProperties(*list);
}

void MyReplayFun(SpectralAndAudioBufferList* list, void* refCon) {
    const auto& again = *static_cast<AAReassignedSpectrumGenerator::Again*>(refCon);
    again.replay.Add(again.generator.ValuesOf(*list, *again.processor));
}

AAReassignedSpectrumGenerator::~AAReassignedSpectrumGenerator() {
    AAReassignedSpectrumGenerator::Cleanup();
}

void AAReassignedSpectrumGenerator::NullPointers() {
    mSpectrumBuffers.forget();
    mAudioBuffers.forget();
    mAudioStore.forget();
    mScatter.forget();
    mLastFrame = nullptr;
    QelAAAnalysisGenerator::NullPointers();
}

void AAReassignedSpectrumGenerator::Cleanup() {
    mSpectralProcessor.free();
    mSpectrumBuffers.free();
    mAudioBuffers.free();
    mAudioStore.free();
    mScatter.free();
    mStoredFrames = 0.0; // nothing is read of stores that are not there
    AAReassignedSpectrumGenerator::NullPointers();
}

void AAReassignedSpectrumGenerator::AllocateBuffers() {
    // A reset gives the old memory back before it takes new memory.
    AAReassignedSpectrumGenerator::Cleanup();
    mSpectrumBuffers = NewBuffer("spectrum buffer", UInt64{mNumBins} * kComplexBytes);
    mAudioBuffers = NewBuffer("audio buffer", UInt64{mFrameSize} * kFloatBytes);
    if (mNumAnalysisFrames > 0) {
        ReserveFrames();
    }
    mSpectralProcessor = NewProcessor(mMaxFrames, MySpectralFun, this);
}

void AAReassignedSpectrumGenerator::ReserveFrames() {
    const UInt64 row = UInt64{mNumBins} * kComplexBytes * mNumChannels;
    const UInt64 trusted =
        std::min<UInt64>(mTrustedBytes / std::max(row, UInt64{1}), mNumAnalysisFrames);
    mAudioStore = new FrameStore(mNumChannels, KeptSamples() * kFloatBytes, kBlockBytes);
    mAudioStore->Reserve(trusted);
    if (mAudioStore->BlockCount() > 0) {
        PreferSmallPages(mAudioStore->Block(0));
    }
    mScatter = new AAReassignedScatter(mNumChannels, mNumBins, mNumAnalysisFrames);
    ReserveMatrix(trusted, std::min(kAlwaysThereBytes / std::max(row, UInt64{1}), trusted));
}

// Where addresses are short, the matrix begins with fewer frames, and grows.
void AAReassignedSpectrumGenerator::ReserveMatrix(UInt64 frames, UInt64 leastFrames) {
    if (frames > leastFrames) {
        try {
            mScatter->Reserve(frames);
            return;
        } catch (const std::bad_alloc&) {
        }
    }
    mScatter->Reserve(leastFrames);
}

UInt32 AAReassignedSpectrumGenerator::KeptSamples() const {
    return std::max(std::min(mHopSize, mFrameSize), UInt32{1});
}

CAAutoDelete<AAReassignedSpectralProcessor>
AAReassignedSpectrumGenerator::NewProcessor(UInt32 maxFrames, SpectralFunction function,
                                            void* refCon) const {
    CAAutoDelete<AAReassignedSpectralProcessor> processor(new AAReassignedSpectralProcessor(
        mFrameSize, mHopSize, mNumChannels, maxFrames, false, static_cast<float>(mSampleRate)));
    processor->SetSpectralFunction(function, refCon);
    processor->HanningWindow();
    return processor;
}

UInt32 AAReassignedSpectrumGenerator::GetSizeOfAnalysisDataForKey(CFStringRef key) {
    return IsOurs(key) ? mNumBins * kComplexBytes
                       : QelAAAnalysisGenerator::GetSizeOfAnalysisDataForKey(key);
}

CFPropertyListRef AAReassignedSpectrumGenerator::CreateCFRepresentation(
    CFAllocatorRef allocator, CFStringRef key, UInt32 count, const QelAudioAnalysisBlock* blocks) {
    return FloatRepresentation(allocator, key, IsOurs(key), count, blocks);
}

AAReassignedValues
AAReassignedSpectrumGenerator::ValuesOf(const SpectralAndAudioBufferList& list,
                                        const AAReassignedSpectralProcessor& processor) {
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        auto* const interleaved = reinterpret_cast<DSPComplex*>(Channel(mSpectrumBuffers, c));
        vDSP_ztoc(&list.mSpectra[c], 1, interleaved, 2, mNumBins);
    }
    return {mSpectrumBuffers->GetBufferList(), *processor.GetCIFBufferList(),
            *processor.GetLGDBufferList()};
}

void AAReassignedSpectrumGenerator::ComputeAndStoreProperties(
    const SpectralAndAudioBufferList& list) {
    KeepAudio(*list.mAudioBuffers);
    if (mScatter.get() != nullptr && mStoredFrames < mNumAnalysisFrames) {
        const auto* processor =
            static_cast<const AAReassignedSpectralProcessor*>(mSpectralProcessor.get());
        ScatterFrame(ValuesOf(list, *processor));
    }
    mStoredFrames += 1.0;
}

// Of a stream that was declared without any frame, nothing is kept but its length.
void AAReassignedSpectrumGenerator::KeepAudio(const AudioBufferList& frame) {
    mLastFrame = &frame;
    if (mNumAnalysisFrames == 0) {
        return;
    }
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        std::copy_n(static_cast<const float*>(frame.mBuffers[c].mData), KeptSamples(),
                    Channel(mAudioBuffers, c));
    }
    const UInt64 place = static_cast<UInt64>(mStoredFrames) % mNumAnalysisFrames;
    mAudioStore->Store(mAudioBuffers->GetBufferList(), 1, place);
}

// Without memory for the matrix, the audio is there for another attempt at the end.
void AAReassignedSpectrumGenerator::ScatterFrame(const AAReassignedValues& values) {
    try {
        mScatter->Add(values);
    } catch (const std::bad_alloc&) {
        mScatter.free();
    }
}

SInt32 AAReassignedSpectrumGenerator::ProcessFinal(UInt8 flush) {
    const auto frames = static_cast<UInt64>(mStoredFrames);
    // Places are numbered in 31 bits, blocks in 32.
    if (frames > static_cast<UInt64>(std::numeric_limits<int>::max()) ||
        frames * mNumChannels > std::numeric_limits<UInt32>::max()) {
        throw std::bad_alloc();
    }
    const CAAutoFree<QelAudioAnalysisBlock> blocks(frames * mNumChannels, true);
    if (frames > 0 && mScatter.get() != nullptr && mScatter->Frames() == frames) {
        const CAAutoDelete<AAReassignedScatter> scatter(mScatter.release());
        Deliver(frames, scatter->Finish(), blocks);
    } else {
        AAReassignedMatrix matrix(mNumChannels, mNumBins);
        if (frames > 0) {
            mScatter.free();
            ScatterAgain(frames, matrix);
        }
        Deliver(frames, matrix, blocks);
    }
    return QelAAAnalysisGenerator::ProcessFinal(flush);
}

void AAReassignedSpectrumGenerator::Deliver(UInt64 frames, AAReassignedMatrix& matrix,
                                            QelAudioAnalysisBlock* blocks) {
    for (UInt32 c = 0; c < mNumChannels && frames > 0; ++c) {
        blocks[c * frames] = {matrix.Channel(c),
                              GetSizeOfAnalysisDataForKey(kQelAnalysisKey_ReasignedSpectrum)};
    }
    const auto count = static_cast<UInt32>(frames * mNumChannels);
    mDataCallback(nullptr, kQelAnalysisKey_ReasignedSpectrum, count, blocks, mDataRefCon);
}

// What the rings would no longer have, or never had, is silence, which would add zeros to the first
// place.
void AAReassignedSpectrumGenerator::ScatterAgain(UInt64 frames, AAReassignedMatrix& matrix) {
    matrix.MakeEmptyRows(frames);
    if (mNumAnalysisFrames == 0) {
        return;
    }
    const UInt64 left = std::min<UInt64>(frames, mNumAnalysisFrames);
    const UInt64 gone = frames - left;
    AAReassignedReplay replay(mNumChannels, gone, left, mNumBins, matrix);
    Again again{*this, replay, nullptr};
    const CAAutoDelete<AAReassignedSpectralProcessor> processor =
        NewProcessor(mFrameSize, MyReplayFun, &again);
    again.processor = processor;
    processor->SetFrameCounter(static_cast<double>(gone + 1));
    PushAudioAgain(gone, frames, *processor);
}

// The first hop of each frame from `first` on, but all of the last frame.
void AAReassignedSpectrumGenerator::PushAudioAgain(UInt64 first, UInt64 frames,
                                                   AAReassignedSpectralProcessor& processor) {
    for (UInt64 f = first; f + 1 < frames; ++f) {
        for (UInt32 c = 0; c < mNumChannels; ++c) {
            mAudioStore->Copy(c, f % mNumAnalysisFrames, 1, Channel(mAudioBuffers, c));
        }
        processor.ProcessForwards(KeptSamples(), &mAudioBuffers->GetModifiableBufferList());
    }
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        std::copy_n(static_cast<const float*>(mLastFrame->mBuffers[c].mData), mFrameSize,
                    Channel(mAudioBuffers, c));
    }
    processor.ProcessForwards(mFrameSize, &mAudioBuffers->GetModifiableBufferList());
}

} // namespace qel::core
