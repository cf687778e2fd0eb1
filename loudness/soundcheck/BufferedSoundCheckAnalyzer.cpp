#include "loudness/soundcheck/BufferedSoundCheckAnalyzer.h"

#include <limits>

namespace qel::core {

namespace {

constexpr OSStatus kNoMoreInputForNow = 5;

} // namespace

BufferedSoundCheckAnalyzer::BufferedSoundCheckAnalyzer(const char*) {}

BufferedSoundCheckAnalyzer::~BufferedSoundCheckAnalyzer() {
    DisposeConverter();
}

void BufferedSoundCheckAnalyzer::DisposeConverter() {
    if (mConverter != nullptr) {
        AudioConverterDispose(mConverter);
    }
    mConverter = nullptr;
}

OSStatus BufferedSoundCheckAnalyzer::MakeConverter(const CAStreamBasicDescription& from,
                                                   const CAStreamBasicDescription& to,
                                                   const void* magicCookie,
                                                   unsigned int cookieSize) {
    if (const OSStatus status = AudioConverterNew(&from, &to, &mConverter); status != 0) {
        return status;
    }
    if (cookieSize == 0) {
        return 0;
    }
    return AudioConverterSetProperty(mConverter, kAudioConverterDecompressionMagicCookie,
                                     cookieSize, magicCookie);
}

OSStatus BufferedSoundCheckAnalyzer::StartWith(const CAStreamBasicDescription& format,
                                               const AudioChannelLayout* layout,
                                               const void* magicCookie, unsigned int cookieSize) {
    CAStreamBasicDescription analyzed(format);
    if (!format.IsCanonical()) {
        analyzed = CAStreamBasicDescription();
        analyzed.mSampleRate = format.mSampleRate;
        analyzed.SetCanonical(format.mChannelsPerFrame, true);
        const OSStatus status = MakeConverter(format, analyzed, magicCookie, cookieSize);
        if (status != 0) {
            return status;
        }
    }
    const OSStatus status = SoundCheckAnalyzer::Start(&analyzed, layout);
    // Of a format that was refused nothing is stored: such blocks have no bytes or the earlier
    // format's, and nobody fills them.
    mBlockBufferer =
        new BlockBufferer(ReceiveBufferedBlock, this, mFormat.mBytesPerFrame * kFramesPerStep);
    return status;
}

OSStatus BufferedSoundCheckAnalyzer::Start(const CAStreamBasicDescription& format,
                                           const AudioChannelLayout* layout,
                                           const void* magicCookie, unsigned int cookieSize) {
    mStartStatus = kAudio_ParamError;
    DisposeConverter();
    mConversionBuffer.free();
    mBlockBufferer.free();
    mStartStatus = StartWith(format, layout, magicCookie, cookieSize);
    return mStartStatus;
}

OSStatus BufferedSoundCheckAnalyzer::ProcessBuffer(UInt32 frames, const AudioBufferList& list,
                                                   AudioStreamPacketDescription* descriptions) {
    if (mStartStatus != 0) {
        return mStartStatus;
    }
    if (list.mNumberBuffers == 0 || (list.mBuffers[0].mData == nullptr && frames != 0)) {
        return kAudio_ParamError;
    }
    if (mConverter == nullptr) {
        return ProcessFloats(frames, list.mBuffers[0].mData);
    }
    mPendingPackets = frames;
    mPendingBufferList.mNumberBuffers = 1;
    mPendingBufferList.mBuffers[0] = list.mBuffers[0];
    mPendingPacketDescriptions = descriptions;
    return Convert();
}

OSStatus BufferedSoundCheckAnalyzer::ConvertStep(UInt32& outPackets) {
    const UInt32 bytes = mFormat.mBytesPerFrame * kFramesPerStep;
    if (mConversionBuffer.get() == nullptr) {
        mConversionBuffer.alloc(bytes, false);
    }
    AudioBufferList output;
    output.mNumberBuffers = 1;
    output.mBuffers[0] = {mFormat.mChannelsPerFrame, bytes, mConversionBuffer.get()};
    outPackets = kFramesPerStep;
    return AudioConverterFillComplexBuffer(mConverter, ACInputProc, this, &outPackets, &output,
                                           nullptr);
}

void BufferedSoundCheckAnalyzer::DropInput() {
    for (UInt32 outPackets = 0; ConvertStep(outPackets) == 0;) {
        ;
    }
}

OSStatus BufferedSoundCheckAnalyzer::Convert() {
    for (;;) {
        UInt32 outPackets = 0;
        const OSStatus status = ConvertStep(outPackets);
        if (outPackets != 0 && ProcessFloats(outPackets, mConversionBuffer) != 0) {
            if (status == 0) {
                DropInput();
            }
            return status;
        }
        if (status == kNoMoreInputForNow) {
            return 0;
        }
        if (status != 0) {
            return status;
        }
    }
}

OSStatus BufferedSoundCheckAnalyzer::ACInputProc(AudioConverterRef, UInt32* ioPackets,
                                                 AudioBufferList* ioList,
                                                 AudioStreamPacketDescription** outDescriptions,
                                                 void* analyzer) {
    auto* self = static_cast<BufferedSoundCheckAnalyzer*>(analyzer);
    if (self->mPendingPackets == 0) {
        return kNoMoreInputForNow;
    }
    *ioPackets = self->mPendingPackets;
    *ioList = self->mPendingBufferList;
    if (outDescriptions != nullptr) {
        *outDescriptions = self->mPendingPacketDescriptions;
    }
    self->mPendingPackets = 0;
    return 0;
}

OSStatus BufferedSoundCheckAnalyzer::ProcessFloats(UInt32 frames, const void* data) {
    if (mStartStatus != 0) {
        return mStartStatus;
    }
    const UInt64 bytes = UInt64{frames} * mFormat.mBytesPerFrame;
    if (bytes > std::numeric_limits<UInt32>::max()) {
        return kAudio_ParamError;
    }
    return mBlockBufferer->AddInput(static_cast<const unsigned char*>(data),
                                    static_cast<UInt32>(bytes));
}

SInt32 BufferedSoundCheckAnalyzer::ReceiveBufferedBlock(void* analyzer, const unsigned char* data,
                                                        unsigned int byteCount) {
    auto* self = static_cast<BufferedSoundCheckAnalyzer*>(analyzer);
    return self->Process(byteCount / self->mFormat.mBytesPerFrame,
                         reinterpret_cast<const float*>(data));
}

} // namespace qel::core
