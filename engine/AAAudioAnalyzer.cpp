#include "engine/AAAudioAnalyzer.h"

#include <algorithm>
#include <new>

namespace qel::core {

namespace {

constexpr UInt32 kPropertySize = 8;

} // namespace

AAAudioAnalyzer::AAAudioAnalyzer(CFArrayRef keys, QelAudioAnalysisDataCallback callback,
                                 void* refCon)
    : mDataCallback(callback), mDataRefCon(refCon),
      mKeys(CFArrayCreateCopy(kCFAllocatorDefault, keys)) {
    if (mKeys == nullptr && keys != nullptr) {
        throw std::bad_alloc();
    }
}

AAAudioAnalyzer::~AAAudioAnalyzer() {
    if (mKeys != nullptr) {
        CFRelease(mKeys);
    }
    Cleanup();
}

SInt32 AAAudioAnalyzer::AudioAnalysisInitialize(UInt32 maxFrames,
                                                const AudioStreamBasicDescription& format,
                                                const AudioChannelLayout* layout,
                                                SInt64 streamLength) {
    mMaxFrames = maxFrames;
    mFormat = format;
    mChannelLayout = layout != nullptr ? *layout : AudioChannelLayout{};
    mStreamLength = static_cast<UInt32>(streamLength);
    mInitialized = true;
    AllocateBuffers();
    return AudioAnalysisReset();
}

SInt32 AAAudioAnalyzer::AudioAnalysisPushAudio(UInt32 frames, AudioBufferList* list) {
    const SInt32 refusal = CheckPush(frames, list);
    if (refusal != 0) {
        return refusal;
    }
    return ForEachActiveSlot(
        [&](QelAAAnalysisBase& generator) { return generator.PushAudio(list, frames); });
}

SInt32 AAAudioAnalyzer::AudioAnalysisProcess(UInt8 flush, QelAudioAnalysisProgressCallback progress,
                                             void* progressRefCon) {
    if (!mInitialized) {
        return kAudioAnalysisErr_NotInitialized;
    }
    mClientProgress = progress;
    mClientProgressRefCon = progressRefCon;
    const auto relay = progress != nullptr ? &AAAudioAnalyzer::ProgressCallback : nullptr;
    return ForEachActiveSlot(
        [&](QelAAAnalysisBase& generator) { return generator.Process(flush, relay, this); });
}

SInt32 AAAudioAnalyzer::AudioAnalysisReset() {
    if (!mInitialized) {
        return kAudioAnalysisErr_NotInitialized;
    }
    ForEachActiveSlot([](QelAAAnalysisBase& generator) { return generator.ReadyAnalysis(); });
    ReserveBlocks();
    return 0;
}

// Sizes of blocks may be known only when the generators are ready.
void AAAudioAnalyzer::ReserveBlocks() {
    const CFIndex count = mKeys != nullptr ? CFArrayGetCount(mKeys) : 0;
    for (CFIndex i = 0; i < count; ++i) {
        const auto key = static_cast<CFStringRef>(CFArrayGetValueAtIndex(mKeys, i));
        if (QelAAAnalysisBase* generator = GetAnalyzerForKey(key)) {
            generator->ReserveBlocks(key);
        }
    }
}

SInt32 AAAudioAnalyzer::AudioAnalysisGetProperty(UInt32 propertyID, const void* specifier,
                                                 void* outData, UInt32* outSize) {
    const auto name = static_cast<CFStringRef>(specifier);
    SInt32 status = 0;
    switch (propertyID) {
    case kQelAnalysisProperty_DataSizeForKey:
        status = GetAnalysisDataSizeForKey(name);
        break;
    case kQelAnalysisProperty_StreamLength:
    case kQelAnalysisProperty_StreamFormat:
    case kQelAnalysisProperty_ChannelLayout:
    case kQelAnalysisProperty_MaxFrames:
    case kQelAnalysisProperty_Keys:
        // Required by the contract: the value is not handed out. A client's memory would be written
        // that stays untouched today.
        break;
    case kQelAnalysisProperty_MetaDataForKey:
        status = GetMetaDataForKey(name, outData);
        break;
    case kQelAnalysisProperty_ParameterList:
        status = GetParameterList(outData);
        break;
    case kQelAnalysisProperty_ParameterValueInfo:
        status = GetParameterValueInfo(name, outData);
        break;
    default:
        return kAudioAnalysisErr_UnknownProperty;
    }
    if (outSize != nullptr) {
        *outSize = kPropertySize;
    }
    return status;
}

SInt32 AAAudioAnalyzer::AudioAnalysisGetParameter(CFStringRef name, float* outValue) {
    QelAAAnalysisBase* generator = GetAnalyzerForParameterString(name);
    return generator != nullptr ? generator->GetParameter(name, outValue)
                                : kAudioAnalysisErr_UnknownProperty;
}

SInt32 AAAudioAnalyzer::AudioAnalysisSetParameter(CFStringRef name, float value) {
    QelAAAnalysisBase* generator = GetAnalyzerForParameterString(name);
    return generator != nullptr ? generator->SetParameter(name, value)
                                : kAudioAnalysisErr_UnknownProperty;
}

CFPropertyListRef AAAudioAnalyzer::AudioAnalysisCreateCFRepresentation(
    CFAllocatorRef allocator, CFStringRef key, UInt32 count, const QelAudioAnalysisBlock* blocks) {
    QelAAAnalysisBase* generator = GetAnalyzerForKey(key);
    if (generator == nullptr || (blocks == nullptr && count != 0)) {
        return nullptr;
    }
    return generator->CreateCFRepresentation(allocator, key, count, blocks);
}

QelAAAnalysisBase* AAAudioAnalyzer::GetAnalyzerForKey(CFStringRef key) const {
    const KeyRoute* route = FindKeyRoute(key);
    return route != nullptr ? mGenerators[route->slot].get() : nullptr;
}

QelAAAnalysisBase* AAAudioAnalyzer::GetAnalyzerForParameterString(CFStringRef name) const {
    const auto slot = FindParameterSlot(name);
    return slot ? mGenerators[*slot].get() : nullptr;
}

SInt32 AAAudioAnalyzer::GetAnalysisDataSizeForKey(CFStringRef key) const {
    QelAAAnalysisBase* generator = GetAnalyzerForKey(key);
    if (generator == nullptr) {
        return kAudioAnalysisErr_UnknownProperty;
    }
    generator->GetSizeOfAnalysisDataForKey(key); // dropped, like the other values of the stream
    return 0;
}

SInt32 AAAudioAnalyzer::GetMetaDataForKey(CFStringRef key, void* outData) const {
    QelAAAnalysisBase* generator = GetAnalyzerForKey(key);
    if (generator == nullptr) {
        return kAudioAnalysisErr_UnknownProperty;
    }
    return outData != nullptr ? generator->GetMetaDataForKey(key, outData) : 0;
}

SInt32 AAAudioAnalyzer::GetParameterList(void* outData) const {
    if (outData == nullptr) {
        return 0;
    }
    ForEachActiveSlot([&](QelAAAnalysisBase& generator) {
        return generator.GetParameterList(static_cast<CFMutableArrayRef*>(outData));
    });
    return 0;
}

SInt32 AAAudioAnalyzer::GetParameterValueInfo(CFStringRef name, void* outData) const {
    QelAAAnalysisBase* generator = GetAnalyzerForParameterString(name);
    return generator != nullptr ? generator->GetParameterValueInfo(name, outData)
                                : kAudioAnalysisErr_UnknownProperty;
}

void AAAudioAnalyzer::AllocateBuffers() {
    mGenerators = {};
    mSlotActive = {};
    const GeneratorSetup setup{mFormat.mChannelsPerFrame,
                               mFormat.mSampleRate,
                               mMaxFrames,
                               mStreamLength,
                               &DataCallback,
                               this};
    const CFIndex count = mKeys != nullptr ? CFArrayGetCount(mKeys) : 0;
    for (CFIndex i = 0; i < count; ++i) {
        const auto key = static_cast<CFStringRef>(CFArrayGetValueAtIndex(mKeys, i));
        const KeyRoute* route = FindKeyRoute(key);
        if (route != nullptr && route->createsGenerator) {
            CreateGeneratorForRoute(*route, setup);
        }
        QelAAAnalysisBase* generator = GetAnalyzerForKey(key);
        // Required by the contract: the first key that leads nowhere ends the list, without a
        // report. Clients that pass such a list would receive results of the keys after it.
        if (generator == nullptr) {
            return;
        }
        generator->SetComputeProperty(mKeys);
    }
}

void AAAudioAnalyzer::CreateGeneratorForRoute(const KeyRoute& route, const GeneratorSetup& setup) {
    if (route.createdOnce && mSlotActive[route.slot]) {
        return;
    }
    mGenerators[route.slot] = MakeGenerator(route.slot, setup);
    mSlotActive[route.slot] = mGenerators[route.slot] != nullptr;
}

void AAAudioAnalyzer::NullPointers() {
    for (auto& generator : mGenerators) {
        (void)generator.release();
    }
    mSlotActive = {};
    mInitialized = false;
}

void AAAudioAnalyzer::Cleanup() {
    for (auto& generator : mGenerators) {
        generator.reset();
    }
    NullPointers();
}

SInt32 AAAudioAnalyzer::CheckPush(UInt32 frames, const AudioBufferList* list) const {
    if (!mInitialized) {
        return kAudioAnalysisErr_NotInitialized;
    }
    if (frames > mMaxFrames) {
        return kAudioAnalysisErr_TooManyFrames;
    }
    if (list == nullptr || list->mNumberBuffers != mFormat.mChannelsPerFrame) {
        return kAudioAnalysisErr_BadFormat;
    }
    const UInt64 bytes = UInt64{mFormat.mBytesPerFrame} * frames;
    const bool isRead = frames != 0 && std::ranges::find(mSlotActive, true) != mSlotActive.end();
    for (UInt32 i = 0; i < list->mNumberBuffers; ++i) {
        const AudioBuffer& buffer = list->mBuffers[i];
        // Null data is not measured, but where a generator would read it, it is refused.
        if (buffer.mData == nullptr ? isRead : buffer.mDataByteSize < bytes) {
            return kAudioAnalysisErr_BadFormat;
        }
    }
    return 0;
}

template <class Call>
SInt32 AAAudioAnalyzer::ForEachActiveSlot(Call call) const {
    SInt32 status = 0;
    for (std::size_t slot = 0; slot < kNumSlots; ++slot) {
        if (mSlotActive[slot]) {
            status = call(*mGenerators[slot]);
        }
    }
    return status;
}

void AAAudioAnalyzer::DataCallback(void*, CFStringRef key, UInt32 count,
                                   QelAudioAnalysisBlock* blocks, void* refCon) {
    auto* analyzer = static_cast<AAAudioAnalyzer*>(refCon);
    if (analyzer->mDataCallback == nullptr) {
        return;
    }
    const ClientFloatingPointScope scope(analyzer->mFloatingPointScope);
    analyzer->mDataCallback(reinterpret_cast<QelAudioAnalysisRef>(analyzer), key, count, blocks,
                            analyzer->mDataRefCon);
}

int AAAudioAnalyzer::ProgressCallback(void*, float percent, void* refCon) {
    auto* analyzer = static_cast<AAAudioAnalyzer*>(refCon);
    const ClientFloatingPointScope scope(analyzer->mFloatingPointScope);
    return analyzer->mClientProgress(nullptr, percent, analyzer->mClientProgressRefCon);
}

} // namespace qel::core
