/*
 * The audio converter's interface.
 *
 * No conversion is offered: AudioConverterNew refuses every pair of formats, so that a caller that
 * has audio in another format learns so at once, and no converter ever exists. The other functions
 * are there so that code written against the interface links and runs.
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
 * How AudioConverterFillComplexBuffer asks its caller for input: at most *ioNumberDataPackets
 * packets, whose place and count the function stores in ioData and *ioNumberDataPackets. A status
 * other than 0 stops the conversion.
 */
typedef OSStatus (*AudioConverterComplexInputDataProc)(
    AudioConverterRef inAudioConverter, UInt32* ioNumberDataPackets, AudioBufferList* ioData,
    AudioStreamPacketDescription** outDataPacketDescription, void* inUserData);

/*
 * Would make a converter between two formats; no conversion is offered, so none is made.
 *
 * *outAudioConverter is set to null. Any thread.
 * Returns kAudioConverterErr_FormatNotSupported for every pair of formats, equal ones included, and
 * kAudio_ParamError if a pointer is null.
 */
extern OSStatus AudioConverterNew(const AudioStreamBasicDescription* inSourceFormat,
                                  const AudioStreamBasicDescription* inDestinationFormat,
                                  AudioConverterRef* outAudioConverter);

/*
 * Would give a converter back. Any thread.
 * Returns kAudio_ParamError: no converter can exist.
 */
extern OSStatus AudioConverterDispose(AudioConverterRef inAudioConverter);

/*
 * Would set a property of a converter from inPropertyDataSize bytes. Any thread.
 * Returns kAudio_ParamError: no converter can exist.
 */
extern OSStatus AudioConverterSetProperty(AudioConverterRef inAudioConverter,
                                          AudioConverterPropertyID inPropertyID,
                                          UInt32 inPropertyDataSize, const void* inPropertyData);

/*
 * Would convert up to *ioOutputDataPacketSize packets into outOutputData, asking inInputDataProc
 * for input. Nothing is asked for and nothing written but *ioOutputDataPacketSize, which becomes 0
 * if the pointer is not null. Any thread.
 * Returns kAudio_ParamError: no converter can exist.
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
