#include "pitch/AAChromaPropertiesGenerator.h"

#include "engine/base/KeyFacts.h"
#include "pitch/AAChromaSpectralProcessor.h"
#include "pitch/KeyProfiles.h"
#include "spectral/VectorHelpers.h"
#include "support/containers/CACFArray.h"
#include "support/containers/CACFDictionary.h"

#include <Accelerate/Accelerate.h>

#include <algorithm>
#include <array>

namespace qel::core {

namespace {

const CFStringRef kKeys[AAChromaPropertiesGenerator::kNumFlags] = {
    kQelAnalysisKey_PitchClassProfile,
    kQelAnalysisKey_PitchClassPorofileKeyCorrelation,
    kQelAnalysisKey_PitchClassProfileTonalCentroid,
    kQelAnalysisKey_DominantKey,
    kQelAnalysisKey_GlobalKey,
};

constexpr UInt32 kFloatBytes = sizeof(float);
constexpr UInt32 kSizes[AAChromaPropertiesGenerator::kNumFlags] = {
    KeyTable::PitchClassProfile.payloadBytes,
    KeyTable::PitchClassPorofileKeyCorrelation.payloadBytes,
    KeyTable::PitchClassProfileTonalCentroid.payloadBytes,
    KeyTable::DominantKey.payloadBytes,
    KeyTable::GlobalKey.payloadBytes,
};
static_assert(KeyTable::PitchClassProfile.payloadBytes == kPitchClasses * kFloatBytes);
static_assert(KeyTable::PitchClassPorofileKeyCorrelation.payloadBytes ==
              kMusicalKeys * kFloatBytes);
static_assert(KeyTable::PitchClassProfileTonalCentroid.payloadBytes ==
              kTonalCentroidSize * kFloatBytes);
static_assert(KeyTable::DominantKey.payloadBytes == sizeof(CFStringRef));
static_assert(KeyTable::GlobalKey.payloadBytes == sizeof(CFStringRef));

// The index of the largest value; the lowest of several.
UInt32 IndexOfLargest(const float* values, UInt32 count) {
    float largest = 0.0f;
    vDSP_Length index = 0;
    vDSP_maxvi(values, 1, &largest, &index, count);
    return static_cast<UInt32>(index);
}

// The key of a stream from the keys of its frames. Without frames it is key 0.
//
// Required by the contract: the classes of the histogram are stretched over the range from the
// lowest to the highest key that occurs, and yet the number of the fullest class is taken for a
// key. It is one only where the range is that of all keys. A class for each key changes the key of
// streams.
UInt32 GlobalKeyOf(const float* frameKeys, UInt32 frames) {
    float lowest = 0.0f;
    float highest = 0.0f;
    vDSP_minv(frameKeys, 1, &lowest, frames);
    vDSP_maxv(frameKeys, 1, &highest, frames);
    std::array<float, kMusicalKeys> histogram{};
    ComputeHistogram(frameKeys, frames, histogram.data(), lowest, highest, kMusicalKeys);
    return IndexOfLargest(histogram.data(), kMusicalKeys);
}

// Element `frame` of an array of names in a block; null if there is none. A block as
// it was delivered is itself a name.
CFStringRef NameOfFrame(const QelAudioAnalysisBlock& block, UInt32 frame) {
    if (IsKeyName(block.mData)) {
        return static_cast<CFStringRef>(block.mData);
    }
    const bool isThere =
        block.mData != nullptr && block.mDataByteSize / sizeof(CFStringRef) > frame;
    return isThere ? static_cast<const CFStringRef*>(block.mData)[frame] : nullptr;
}

} // namespace

void ChromaSpectralFun(SpectralAndAudioBufferList* list, void* refCon) {
    static_cast<AAChromaPropertiesGenerator*>(refCon)->ComputeAndStoreProperties(list);
}

AAChromaPropertiesGenerator::~AAChromaPropertiesGenerator() {
    AAChromaPropertiesGenerator::Cleanup();
}

AAChromaPropertiesGenerator::Flag AAChromaPropertiesGenerator::FlagOf(CFStringRef key) {
    return static_cast<Flag>(IndexOf(key, kKeys));
}

SInt32 AAChromaPropertiesGenerator::SetComputeProperty(CFArrayRef keys) {
    return RaiseFlags(keys, kKeys, kNumFlags);
}

UInt32 AAChromaPropertiesGenerator::GetSizeOfAnalysisDataForKey(CFStringRef key) {
    const Flag flag = FlagOf(key);
    return flag != kNumFlags ? kSizes[flag]
                             : QelAAAnalysisGenerator::GetSizeOfAnalysisDataForKey(key);
}

void AAChromaPropertiesGenerator::NullPointers() {
    QelAAAnalysisGenerator::NullPointers();
    for (auto* list :
         {&mChromaKeyBuffer, &mDominantKeyBuffer, &mTonalCenterBuffer, &mFetchBuffer}) {
        list->forget();
    }
    mDominantKeyStore.forget();
}

void AAChromaPropertiesGenerator::Cleanup() {
    mSpectralProcessor.free();
    for (auto* list :
         {&mChromaKeyBuffer, &mDominantKeyBuffer, &mTonalCenterBuffer, &mFetchBuffer}) {
        list->free();
    }
    mDominantKeyStore.free();
    mFrameTime = {};
    AAChromaPropertiesGenerator::NullPointers();
}

void AAChromaPropertiesGenerator::AllocateBuffers() {
    mSpectralProcessor.free();
    mSpectralProcessor = new AAChromaSpectralProcessor(
        mFrameSize, mHopSize, mNumChannels, mMaxFrames, false, false, mSampleRate, kPitchClasses);
    mSpectralProcessor->SetSpectralFunction(ChromaSpectralFun, this);
    mChromaKeyBuffer = NewBuffer("chroma key buffer", kSizes[kKeyCorrelation]);
    mDominantKeyBuffer = NewBuffer("dominant key buffer", kFloatBytes);
    mTonalCenterBuffer = NewBuffer("tonal center buffer", kSizes[kTonalCentroid]);
    mDominantKeyStore.free();
    mFetchBuffer.free();
    ResetStamp(mFrameTime);
    if (!IsWanted(kGlobalKey)) {
        return;
    }
    mFetchBuffer = NewBuffer("fetch buffer", 0);
    mDominantKeyStore = NewStore(mNumAnalysisFrames);
}

void AAChromaPropertiesGenerator::ComputeAndStoreProperties(const SpectralAndAudioBufferList*) {
    auto* processor = static_cast<AAChromaSpectralProcessor*>(mSpectralProcessor.get());
    CABufferList* chromaList = processor->GetChromaList();
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        float* chroma = Channel(chromaList, c);
        float* correlations = Channel(mChromaKeyBuffer, c);
        NormalizeFloatVector(chroma, kPitchClasses);
        MakeKeyStrengthComparison(chroma, correlations);
        ComputeTonalCentroid(chroma, Channel(mTonalCenterBuffer, c));
        // A major key comes before a minor key that fits as well, and silence is C major.
        *Channel(mDominantKeyBuffer, c) =
            static_cast<float>(IndexOfLargest(correlations, kMusicalKeys));
    }
    StoreDominantKeys();
    DeliverDominantKeys();
    DeliverFloats(kPitchClassProfile, chromaList);
    DeliverFloats(kKeyCorrelation, mChromaKeyBuffer);
    DeliverFloats(kTonalCentroid, mTonalCenterBuffer);
}

void AAChromaPropertiesGenerator::StoreDominantKeys() {
    if (mDominantKeyStore.get() != nullptr) {
        mDominantKeyStore->Append(mDominantKeyBuffer->GetBufferList(), 1);
    }
    mFrameTime.mSampleTime += 1.0;
}

void AAChromaPropertiesGenerator::GiveName(UInt32 channel, UInt32 key) {
    mBlocks.Blocks()[channel].mData = const_cast<void*>(CFRetain(KeyName(key)));
}

void AAChromaPropertiesGenerator::DeliverDominantKeys() {
    if (!IsWanted(kDominantKey)) {
        return;
    }
    mBlocks.Prepare(mNumChannels, kSizes[kDominantKey]);
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        GiveName(c, static_cast<UInt32>(*Channel(mDominantKeyBuffer, c)));
    }
    Deliver(kKeys[kDominantKey]);
}

void AAChromaPropertiesGenerator::DeliverFloats(Flag flag, CABufferList* list) {
    if (!IsWanted(flag)) {
        return;
    }
    mBlocks.Prepare(mNumChannels, 0);
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        mBlocks.Blocks()[c] = {Channel(list, c), kSizes[flag]};
    }
    Deliver(kKeys[flag]);
}

SInt32 AAChromaPropertiesGenerator::ProcessFinal(UInt8 flush) {
    if (IsWanted(kGlobalKey)) {
        const auto frames = static_cast<UInt32>(mFrameTime.mSampleTime);
        CopyDominantKeys(frames);
        DeliverGlobalKeys(frames);
    }
    return QelAAAnalysisGenerator::ProcessFinal(flush);
}

void AAChromaPropertiesGenerator::CopyDominantKeys(UInt32 frames) {
    if (frames == 0) { // there may be no store
        return;
    }
    mFetchBuffer->AllocateBuffers(frames * kFloatBytes);
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        mDominantKeyStore->Copy(c, 0, frames, Channel(mFetchBuffer, c));
    }
}

void AAChromaPropertiesGenerator::DeliverGlobalKeys(UInt32 frames) {
    // Required by the contract: only the first block states its size, and those of the other
    // channels are 0. Clients that go by sizes would see other results.
    mBlocks.Prepare(mNumChannels, 0);
    if (mNumChannels != 0) {
        mBlocks.Blocks()[0].mDataByteSize = kSizes[kGlobalKey];
    }
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        GiveName(c, GlobalKeyOf(frames != 0 ? Channel(mFetchBuffer, c) : nullptr, frames));
    }
    Deliver(kKeys[kGlobalKey]);
}

CFPropertyListRef AAChromaPropertiesGenerator::CreateCFRepresentation(
    CFAllocatorRef allocator, CFStringRef key, UInt32 count, const QelAudioAnalysisBlock* blocks) {
    CACFDictionary result(allocator, true);
    const Flag flag = FlagOf(key);
    if (flag == kDominantKey) {
        AddFrameNames(result, count, blocks);
    } else if (flag == kGlobalKey) {
        AddStreamNames(result, count, blocks);
    } else if (flag != kNumFlags) {
        MakeFloatArrayForKey(&result, blocks, count, key);
    }
    return CFRetain(result.GetCFDictionary());
}

void AAChromaPropertiesGenerator::AddFrameNames(CACFDictionary& result, UInt32 count,
                                                const QelAudioAnalysisBlock* blocks) const {
    const UInt32 frames = GetNumAnalysisFramesForData(count, blocks);
    CACFArray channels(mNumChannels, true);
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        CACFArray names(frames, true);
        for (UInt32 f = 0; f < frames; ++f) {
            names.AppendString(NameOfFrame(blocks[f * mNumChannels + c], f));
        }
        channels.AppendArray(names.GetCFArray());
    }
    result.AddArray(kKeys[kDominantKey], channels.GetCFArray());
}

void AAChromaPropertiesGenerator::AddStreamNames(CACFDictionary& result, UInt32 count,
                                                 const QelAudioAnalysisBlock* blocks) const {
    CACFArray channels(mNumChannels, true);
    for (UInt32 c = 0; c < std::min(mNumChannels, count); ++c) {
        channels.AppendString(static_cast<CFStringRef>(blocks[c].mData));
    }
    result.AddArray(kKeys[kGlobalKey], channels.GetCFArray());
}

} // namespace qel::core
