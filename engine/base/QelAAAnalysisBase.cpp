#include "engine/base/QelAAAnalysisBase.h"

#include "support/audio/CAStreamBasicDescription.h"
#include "support/audio/FrameStore.h"
#include "support/containers/CACFArray.h"
#include "support/containers/CACFDictionary.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace qel::core {

namespace {

constexpr float kPercentDone = 100.0f;
constexpr SInt32 kStoppedByClient = -1;
constexpr UInt32 kTrustedFloats = 1u << 28; // a gigabyte
constexpr UInt32 kStampValid = 1;

UInt32 FloatsOf(const QelAudioAnalysisBlock& block) {
    return block.mData != nullptr ? block.mDataByteSize / UInt32{sizeof(float)} : 0;
}

} // namespace

QelAAAnalysisBase::QelAAAnalysisBase(UInt32 channels, Float64 sampleRate, UInt32 maxFrames,
                                     UInt32 streamLength, DataCallback dataCallback, void* refCon)
    : mNumChannels(channels), mSampleRate(sampleRate), mMaxFrames(maxFrames),
      mStreamLength(streamLength), mDataCallback(dataCallback), mDataRefCon(refCon) {
    QelAAAnalysisBase::NullPointers();
    QelAAAnalysisBase::AllocateBuffers();
}

QelAAAnalysisBase::~QelAAAnalysisBase() {
    QelAAAnalysisBase::Cleanup();
}

SInt32 QelAAAnalysisBase::PushAudio(AudioBufferList*, UInt32) {
    return 0;
}

SInt32 QelAAAnalysisBase::Process(UInt8 flush, ProgressCallback progress, void* progressRefCon) {
    mProgressCallback = progress;
    mProgressRefCon = progressRefCon;
    if (flush != 0 && mFlushBuffer.get() != nullptr) {
        PushAudio(&mFlushBuffer->GetModifiableBufferList(), mMaxFrames);
    }
    return ProcessFinal(flush);
}

SInt32 QelAAAnalysisBase::SetProperty(UInt32, const void*, UInt32) {
    return 0;
}

SInt32 QelAAAnalysisBase::GetProperty(UInt32, void*) {
    return 0;
}

SInt32 QelAAAnalysisBase::SetComputeProperty(CFArrayRef) {
    return 0;
}

SInt32 QelAAAnalysisBase::ReadyAnalysis() {
    try {
        if (mFlushBuffer.get() == nullptr) { // given back by a reset that failed
            QelAAAnalysisBase::AllocateBuffers();
        }
        AllocateBuffers();
    } catch (...) {
        // What the client asked for outlives the failure.
        CAAutoFree<bool> flags(std::move(mComputeFlags));
        Cleanup();
        mComputeFlags = std::move(flags);
        throw;
    }
    return 0;
}

void QelAAAnalysisBase::ReserveBlocks(CFStringRef key) {
    mBlocks.Prepare(mNumChannels, GetSizeOfAnalysisDataForKey(key));
}

UInt32 QelAAAnalysisBase::GetSizeOfAnalysisDataForKey(CFStringRef) {
    return 0;
}

SInt32 QelAAAnalysisBase::GetMetaDataForKey(CFStringRef, void* outData) {
    std::memcpy(outData, &mSampleRate, sizeof mSampleRate);
    return 0;
}

SInt32 QelAAAnalysisBase::GetParameterList(CFMutableArrayRef*) {
    return 0;
}

SInt32 QelAAAnalysisBase::GetParameterValueInfo(CFStringRef, void*) {
    return 0;
}

CFPropertyListRef QelAAAnalysisBase::CreateCFRepresentation(CFAllocatorRef, CFStringRef, UInt32,
                                                            const QelAudioAnalysisBlock*) {
    return nullptr;
}

SInt32 QelAAAnalysisBase::GetParameter(CFStringRef, float*) {
    return 0;
}

SInt32 QelAAAnalysisBase::SetParameter(CFStringRef, float) {
    return 0;
}

SInt32 QelAAAnalysisBase::ProcessFinal(UInt8) {
    return StopsAt(kPercentDone) ? kStoppedByClient : 0;
}

void QelAAAnalysisBase::NullPointers() {
    mComputeFlags.forget();
    mFlushBuffer.forget();
}

void QelAAAnalysisBase::Cleanup() {
    mComputeFlags.free();
    mFlushBuffer.free();
    QelAAAnalysisBase::NullPointers();
}

void QelAAAnalysisBase::AllocateBuffers() {
    mFlushBuffer = NewBuffer("flush buffer", mMaxFrames * UInt64{sizeof(float)});
}

UInt32 QelAAAnalysisBase::IndexOf(CFStringRef key, std::span<const CFStringRef> keys) {
    const auto place = std::find_if(keys.begin(), keys.end(), [key](CFStringRef own) {
        return key != nullptr && CFEqual(key, own);
    });
    return static_cast<UInt32>(place - keys.begin());
}

SInt32 QelAAAnalysisBase::RaiseFlags(CFArrayRef wanted, std::span<const CFStringRef> keys,
                                     UInt32 flags) {
    mComputeFlags.alloc(flags, true);
    const CFIndex count = CFArrayGetCount(wanted);
    for (CFIndex i = 0; i < count; ++i) {
        const auto* key = static_cast<CFStringRef>(CFArrayGetValueAtIndex(wanted, i));
        if (const UInt32 flag = IndexOf(key, keys); flag < keys.size()) {
            mComputeFlags[flag] = true;
        }
    }
    return 0;
}

bool QelAAAnalysisBase::IsWanted(UInt32 flag) const {
    return mComputeFlags.get() != nullptr && mComputeFlags[flag];
}

CAAutoDelete<CABufferList> QelAAAnalysisBase::NewBuffer(const char* name,
                                                        UInt64 bytesPerChannel) const {
    if (bytesPerChannel > std::numeric_limits<UInt32>::max()) {
        throw std::bad_alloc();
    }
    CAStreamBasicDescription format;
    format.SetCanonical(mNumChannels, false);
    format.mSampleRate = mSampleRate;
    CAAutoDelete<CABufferList> buffer = CABufferList::New(name, format);
    buffer->AllocateBuffers(static_cast<UInt32>(bytesPerChannel));
    return buffer;
}

float* QelAAAnalysisBase::Channel(CABufferList* buffer, UInt32 channel) {
    return static_cast<float*>(buffer->GetModifiableBufferList().mBuffers[channel].mData);
}

CAAutoDelete<FrameStore> QelAAAnalysisBase::NewStore(UInt64 declaredFrames,
                                                     UInt64 usualFrames) const {
    const UInt64 most = kTrustedFloats / std::max(mNumChannels, 1u);
    const UInt64 usual = usualFrames / std::max(mNumChannels, 1u);
    CAAutoDelete<FrameStore> store(new FrameStore(mNumChannels, sizeof(float)));
    if (mStreamLength != 0) {
        store->Reserve(std::min(declaredFrames, most));
    } else if (usual != 0) {
        store->Reserve(std::min(usual, most));
    } else {
        store->MakeRoom(1);
    }
    return store;
}

void QelAAAnalysisBase::ResetStamp(AudioTimeStamp& stamp) {
    stamp = AudioTimeStamp{};
    stamp.mFlags = kStampValid;
}

bool QelAAAnalysisBase::StopsAt(float percent) const {
    return mProgressCallback != nullptr &&
           mProgressCallback(nullptr, percent, mProgressRefCon) != 0;
}

UInt32 QelAAAnalysisBase::GetNumAnalysisFramesForData(UInt32 count,
                                                      const QelAudioAnalysisBlock*) const {
    return mNumChannels != 0 ? count / mNumChannels : 0;
}

void QelAAAnalysisBase::MakeFloatArrayForKey(CACFDictionary* dict,
                                             const QelAudioAnalysisBlock* blocks, UInt32 count,
                                             CFStringRef key) const {
    const UInt32 frames = GetNumAnalysisFramesForData(count, blocks);
    const UInt32 floats = frames != 0 ? FloatsOf(blocks[0]) : 0;
    CACFArray channelArray(mNumChannels, true);
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        CACFArray frameArray(frames, true);
        for (UInt32 f = 0; f < frames; ++f) {
            const QelAudioAnalysisBlock& block = blocks[f * mNumChannels + c];
            const UInt32 available = std::min(floats, FloatsOf(block));
            CACFArray values(available, true);
            for (UInt32 i = 0; i < available; ++i) {
                values.AppendFloat32(static_cast<const float*>(block.mData)[i]);
            }
            frameArray.AppendArray(values.GetCFArray());
        }
        channelArray.AppendArray(frameArray.GetCFArray());
    }
    dict->AddArray(key, channelArray.GetCFArray());
}

CFPropertyListRef
QelAAAnalysisBase::FloatRepresentation(CFAllocatorRef allocator, CFStringRef key, bool isOwn,
                                       UInt32 count, const QelAudioAnalysisBlock* blocks) const {
    CACFDictionary result(allocator, true);
    if (isOwn) {
        MakeFloatArrayForKey(&result, blocks, count, key);
    }
    return CFRetain(result.GetCFDictionary());
}

void QelAAAnalysisBase::Deliver(CFStringRef key) {
    mDataCallback(nullptr, key, mBlocks.Count(), mBlocks.Blocks(), mDataRefCon);
}

} // namespace qel::core
