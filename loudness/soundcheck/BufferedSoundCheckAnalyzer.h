#pragma once

#include "loudness/soundcheck/BlockBufferer.h"
#include "loudness/soundcheck/SoundCheckAnalyzer.h"
#include "support/audio/CAStreamBasicDescription.h"
#include "support/runtime/CAAutoDisposer.h"

#include <AudioToolbox/AudioConverter.h>

namespace qel::core {

// A sound-check analyzer for audio of any format in pieces of any size: a converter where the
// format is not canonical, and a BlockBufferer that collects steps of 32768 frames.
//
// The stream is not flushed at its end: frames after the last whole step are not analyzed, so
// that a track below 32768 frames has all figures 0.
class BufferedSoundCheckAnalyzer : public SoundCheckAnalyzer {
public:
    // The name is not kept.
    explicit BufferedSoundCheckAnalyzer(const char* name);
    ~BufferedSoundCheckAnalyzer() override;

    // Starts a track. Canonical audio is taken as it is and so must be interleaved, with one or two
    // channels; any other format is converted to that, at its own sample rate.
    //
    // layout       not used
    // magicCookie  what the converter is to be told of the format, `cookieSize` bytes; not kept
    //
    // Returns 0; -50 for canonical audio that is not interleaved and for channels other than 1 or
    // 2; -108; a status of the converter, to begin with that it cannot convert the format. After
    // any but 0 the operations below return it and do nothing, until a Start succeeds. Raises
    // std::bad_alloc, after which they return -50.
    OSStatus Start(const CAStreamBasicDescription& format, const AudioChannelLayout* layout,
                   const void* magicCookie, unsigned int cookieSize);

    // Takes `frames` frames, for compressed audio packets, of the format given to Start: the first
    // buffer of the list. `descriptions`, for packets of variable size, may be null.
    //
    // Required by the contract: with a converter, only its statuses are returned. Where the
    // analysis fails, the converter's status of that moment ends the call, 0 included. Handing out
    // the analysis's status makes calls fail that succeed today.
    //
    // Returns 0; -50 before Start, for a list without buffers and for frames without data; a status
    // of Start or of the converter. Raises std::bad_alloc on the first call with a converter.
    OSStatus ProcessBuffer(UInt32 frames, const AudioBufferList& list,
                           AudioStreamPacketDescription* descriptions);

    // Takes `frames` frames of the format that is analyzed, at the address of a float.
    //
    // Returns 0; -50 before Start, for frames without data, and for more bytes than 32 bits count;
    // a status of Start.
    OSStatus ProcessFloats(UInt32 frames, const void* data);

    // What the last Start returned; -50 before the first.
    OSStatus StartStatus() const { return mStartStatus; }

    // The converter's input: the frames of the current ProcessBuffer, once. Then 5, a status of our
    // own: no more input for now.
    static OSStatus ACInputProc(AudioConverterRef converter, UInt32* ioPackets,
                                AudioBufferList* ioList,
                                AudioStreamPacketDescription** outDescriptions, void* analyzer);

    // What the BlockBufferer calls.
    static SInt32 ReceiveBufferedBlock(void* analyzer, const unsigned char* data,
                                       unsigned int byteCount);

private:
    OSStatus MakeConverter(const CAStreamBasicDescription& from, const CAStreamBasicDescription& to,
                           const void* magicCookie, unsigned int cookieSize);
    OSStatus StartWith(const CAStreamBasicDescription& format, const AudioChannelLayout* layout,
                       const void* magicCookie, unsigned int cookieSize);
    OSStatus Convert();
    // Converts what fits the conversion buffer; `outPackets` receives the number of packets.
    OSStatus ConvertStep(UInt32& outPackets);
    // The converter keeps its place in the caller's memory, which is the caller's again after this
    // call: what is left of it must not be read by the next one.
    void DropInput();
    void DisposeConverter();

    OSStatus mStartStatus = kAudio_ParamError;
    AudioConverterRef mConverter = nullptr; // owned; null if the format needs none
    CAAutoFree<unsigned char> mConversionBuffer;
    UInt32 mPendingPackets = 0; // offered to the converter and not yet taken
    AudioBufferList mPendingBufferList{};
    AudioStreamPacketDescription* mPendingPacketDescriptions = nullptr;
    CAAutoDelete<BlockBufferer> mBlockBufferer;
};

} // namespace qel::core
