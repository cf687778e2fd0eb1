#include <AudioToolbox/AudioConverter.h>

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
    return kAudioConverterErr_FormatNotSupported;
}

OSStatus AudioConverterDispose(AudioConverterRef) {
    return kAudio_ParamError;
}

OSStatus AudioConverterSetProperty(AudioConverterRef, AudioConverterPropertyID, UInt32,
                                   const void*) {
    return kAudio_ParamError;
}

OSStatus AudioConverterFillComplexBuffer(AudioConverterRef, AudioConverterComplexInputDataProc,
                                         void*, UInt32* ioOutputDataPacketSize, AudioBufferList*,
                                         AudioStreamPacketDescription*) {
    if (ioOutputDataPacketSize != nullptr) {
        *ioOutputDataPacketSize = 0;
    }
    return kAudio_ParamError;
}
