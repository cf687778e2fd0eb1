#include "platform/audio/PCMConverter.h"

#include <AudioToolbox/AudioConverter.h>

#include <memory>
#include <new>

using qel::platform::PCMConverter;
using qel::platform::ReadPCMFormat;

struct OpaqueAudioConverter {
    PCMConverter converter;
};

OSStatus AudioConverterNew(const AudioStreamBasicDescription* inSourceFormat,
                           const AudioStreamBasicDescription* inDestinationFormat,
                           AudioConverterRef* outAudioConverter) {
    if (outAudioConverter == nullptr) {
        return kAudio_ParamError;
    }
    *outAudioConverter = nullptr;
    if (inSourceFormat == nullptr || inDestinationFormat == nullptr) {
        return kAudio_ParamError;
    }
    const OSStatus status = PCMConverter::Check(*inSourceFormat, *inDestinationFormat);
    if (status != noErr) {
        return status;
    }
    try {
        *outAudioConverter = new OpaqueAudioConverter{
            PCMConverter(*ReadPCMFormat(*inSourceFormat), *ReadPCMFormat(*inDestinationFormat))};
    } catch (const std::bad_alloc&) {
        return kAudio_MemFullError;
    }
    return noErr;
}

OSStatus AudioConverterDispose(AudioConverterRef inAudioConverter) {
    if (inAudioConverter == nullptr) {
        return kAudio_ParamError;
    }
    delete inAudioConverter;
    return noErr;
}

OSStatus AudioConverterSetProperty(AudioConverterRef inAudioConverter, AudioConverterPropertyID,
                                   UInt32, const void*) {
    return inAudioConverter == nullptr ? OSStatus{kAudio_ParamError}
                                       : OSStatus{kAudioConverterErr_PropertyNotSupported};
}

OSStatus AudioConverterFillComplexBuffer(AudioConverterRef inAudioConverter,
                                         AudioConverterComplexInputDataProc inInputDataProc,
                                         void* inInputDataProcUserData,
                                         UInt32* ioOutputDataPacketSize,
                                         AudioBufferList* outOutputData,
                                         AudioStreamPacketDescription*) {
    if (ioOutputDataPacketSize == nullptr) {
        return kAudio_ParamError;
    }
    if (inAudioConverter == nullptr || inInputDataProc == nullptr || outOutputData == nullptr) {
        *ioOutputDataPacketSize = 0;
        return kAudio_ParamError;
    }
    const PCMConverter::Input input = {inAudioConverter, inInputDataProc, inInputDataProcUserData};
    return inAudioConverter->converter.Fill(input, *ioOutputDataPacketSize, *outOutputData);
}
