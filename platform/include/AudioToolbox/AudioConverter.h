/*
 * The audio converter: linear PCM of many kinds to 32-bit floats, pulled from a callback.
 *
 * A converter is made, filled from as often as its caller likes, and disposed of. It belongs to one
 * thread at a time; converters of different threads never meet.
 */
#pragma once

#include <CoreAudio/CoreAudioTypes.h>
#include <MacTypes.h>

#ifdef __cplusplus
extern "C" {
#endif

#pragma GCC visibility push(default)

typedef struct OpaqueAudioConverter* AudioConverterRef;
typedef UInt32 AudioConverterPropertyID;

/* Property identifiers: four characters each. */
enum {
    kAudioConverterCompressionMagicCookie = 0x636D6763,    /* 'cmgc' */
    kAudioConverterDecompressionMagicCookie = 0x646D6763,  /* 'dmgc' */
    kAudioConverterSampleRateConverterQuality = 0x73726371 /* 'srcq' */
};

/* Status codes: four characters each. */
enum {
    kAudioConverterErr_FormatNotSupported = 0x666D743F,              /* 'fmt?' */
    kAudioConverterErr_OperationNotSupported = 0x6F703F3F,           /* 'op??' */
    kAudioConverterErr_PropertyNotSupported = 0x70726F70,            /* 'prop' */
    kAudioConverterErr_InvalidInputSize = 0x696E737A,                /* 'insz' */
    kAudioConverterErr_InvalidOutputSize = 0x6F74737A,               /* 'otsz' */
    kAudioConverterErr_UnspecifiedError = 0x77686174,                /* 'what' */
    kAudioConverterErr_BadPropertySizeError = 0x2173697A,            /* '!siz' */
    kAudioConverterErr_RequiresPacketDescriptionsError = 0x21706B64, /* '!pkd' */
    kAudioConverterErr_InputSampleRateOutOfRange = 0x21697372,       /* '!isr' */
    kAudioConverterErr_OutputSampleRateOutOfRange = 0x216F7372       /* '!osr' */
};

/*
 * How AudioConverterFillComplexBuffer asks its caller for input.
 *
 * ioNumberDataPackets       in: how many packets would do now; out: how many there are at ioData,
 *                           fewer or more. What is more is used by later calls. 0 ends the stream.
 * ioData                    one buffer, or one per channel where the source is not interleaved: the
 *                           callback enters places and sizes in bytes, of any alignment. The
 *                           samples stay the callback's and must stay as they are until it is
 *                           called again or the converter is disposed of. mNumberChannels is not
 *                           looked at. Packets that a buffer's size does not hold are not there.
 * outDataPacketDescription  null: linear PCM needs none
 *
 * A status other than 0 stops the call, which returns it; no packets may be given with it. The
 * callback must not use the converter. It may raise an exception, which leaves the call: the
 * packets made until then are counted, but not in mDataByteSize, and the next call asks again.
 */
typedef OSStatus (*AudioConverterComplexInputDataProc)(
    AudioConverterRef inAudioConverter, UInt32* ioNumberDataPackets, AudioBufferList* ioData,
    AudioStreamPacketDescription** outDataPacketDescription, void* inUserData);

/*
 * Makes a converter from linear PCM to packed 32-bit floats in the machine's byte order, at the
 * same rate and with the same channels, 1 to 65535 of them.
 *
 * The source has integers of 8, 16, 24 or 32 bits, signed or unsigned (offset binary), alone or at
 * the upper or lower end of a container of up to 4 bytes, or floats of 32 or 64 bits; in either
 * byte order. Source and destination may each be interleaved or not. Integers of b bits are divided
 * by 2^(b-1), so that full scale is [-1, 1), and doubles are taken as they are, each rounded to the
 * nearest float; 32-bit floats keep every bit.
 *
 * inSourceFormat       both with one frame per packet, mBytesPerPacket and mBytesPerFrame equal and
 * inDestinationFormat  as the samples need them, of one channel where not interleaved. The packed
 *                      flag may be missing where the bits fill their containers. Neither is kept.
 * outAudioConverter    becomes a converter for AudioConverterDispose, or null
 *
 * Any thread. Returns 0; kAudioConverterErr_FormatNotSupported for everything else, such as another
 * rate, other channels, compressed audio, flags or sizes that contradict each other;
 * kAudioConverterErr_InputSampleRateOutOfRange and kAudioConverterErr_OutputSampleRateOutOfRange
 * for rates that are not finite and above 0; kAudio_ParamError if a pointer is null;
 * kAudio_MemFullError.
 */
extern OSStatus AudioConverterNew(const AudioStreamBasicDescription* inSourceFormat,
                                  const AudioStreamBasicDescription* inDestinationFormat,
                                  AudioConverterRef* outAudioConverter);

/*
 * Disposes of a converter. Input that it had not used is not touched any more.
 * Any thread that no other call with this converter is in.
 * Returns 0; kAudio_ParamError for null.
 */
extern OSStatus AudioConverterDispose(AudioConverterRef inAudioConverter);

/*
 * Would set a property of a converter. The converters there are have none: linear PCM comes with no
 * magic cookie, and rates are not changed. The value is not looked at. Any thread.
 * Returns kAudioConverterErr_PropertyNotSupported; kAudio_ParamError for a null converter.
 */
extern OSStatus AudioConverterSetProperty(AudioConverterRef inAudioConverter,
                                          AudioConverterPropertyID inPropertyID,
                                          UInt32 inPropertyDataSize, const void* inPropertyData);

/*
 * Converts packets, each one frame, into outOutputData. Input that is left from earlier calls comes
 * first; then inInputDataProc is called, on this thread, until there are enough packets, it gives
 * none, or it returns a status.
 *
 * ioOutputDataPacketSize  in: packets to make; out: packets made, also where a status is returned
 * outOutputData           one buffer, or one per channel where the destination is not interleaved,
 *                         each with room for all of the packets in mDataByteSize, of any alignment;
 *                         must not overlap the input. Afterwards mDataByteSize counts the bytes
 *                         made. mNumberChannels is not looked at.
 * outPacketDescription    not used; may be null
 *
 * One thread at a time. Returns
 *
 * - 0: all was made, or the callback gave no packets; a later call asks it again
 * - the callback's status: packets made until then are valid, and a later call goes on
 * - kAudioConverterErr_InvalidOutputSize: a buffer of outOutputData is too small; nothing was asked
 *   for, no sample written, and there are 0 packets
 * - kAudio_ParamError: the same for a null pointer, a wrong number of buffers, and buffers without
 *   data; or the callback gave a wrong number of buffers or bytes without data, which ends the call
 *   like a status of its own
 */
extern OSStatus AudioConverterFillComplexBuffer(AudioConverterRef inAudioConverter,
                                                AudioConverterComplexInputDataProc inInputDataProc,
                                                void* inInputDataProcUserData,
                                                UInt32* ioOutputDataPacketSize,
                                                AudioBufferList* outOutputData,
                                                AudioStreamPacketDescription* outPacketDescription);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif
