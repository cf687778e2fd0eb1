#include "loudness/soundcheck/SoundCheckAnalyzer.h"

#include "loudness/soundcheck/NormalizationTruncation.h"

#include <cmath>

namespace qel::core {

namespace {

constexpr double kMillisecondsPerSecond = 1000.0;

bool IsTaken(const AudioStreamBasicDescription& format) {
    constexpr AudioFormatFlags tested =
        kAudioFormatFlagIsNonInterleaved | kAudioFormatFlagIsFloat | kAudioFormatFlagIsBigEndian;
    return (format.mFormatFlags & tested) == kAudioFormatFlagIsFloat &&
           (format.mChannelsPerFrame == 1 || format.mChannelsPerFrame == 2);
}

} // namespace

SoundCheckAnalyzer::~SoundCheckAnalyzer() {
    NormalizationClose(mNormalizationData);
}

OSStatus SoundCheckAnalyzer::Start(const AudioStreamBasicDescription* format,
                                   const AudioChannelLayout*) {
    if (format == nullptr || !IsTaken(*format)) {
        return kAudio_ParamError;
    }
    mFormat = *format;
    mMillisecondsPerFrame = kMillisecondsPerSecond / format->mSampleRate;
    mFramesProcessed = 0;
    const auto sampleRate = TruncateTo<UInt32>(format->mSampleRate);
    return mNormalizationData != nullptr
               ? NormalizationReset(mNormalizationData, sampleRate, format->mChannelsPerFrame)
               : NormalizationOpen(sampleRate, format->mChannelsPerFrame, &mNormalizationData);
}

OSStatus SoundCheckAnalyzer::Process(UInt32 frames, const float* samples) {
    if (frames % kFramesPerStep != 0) {
        return kAudio_ParamError;
    }
    for (std::size_t i = 0; i < frames; i += kFramesPerStep) {
        const double milliseconds = mMillisecondsPerFrame * static_cast<double>(mFramesProcessed);
        const OSStatus status =
            NormalizationProcessFloats(mNormalizationData, samples + i, mFormat.mChannelsPerFrame,
                                       TruncateTo<UInt32>(std::floor(0.5 + milliseconds)));
        if (status != 0) {
            return status;
        }
        mFramesProcessed += kFramesPerStep;
    }
    return 0;
}

OSStatus SoundCheckAnalyzer::Process(UInt32 frames, const AudioBufferList* bufferList) {
    if (frames % kFramesPerStep != 0) {
        return kAudio_ParamError;
    }
    if (bufferList == nullptr || bufferList->mNumberBuffers != 1) {
        return kAudio_ParamError;
    }
    return Process(frames, static_cast<const float*>(bufferList->mBuffers[0].mData));
}

OSStatus SoundCheckAnalyzer::Finish() {
    NormalizationCreateStats(mNormalizationData, mFormat.mChannelsPerFrame);
    return 0;
}

} // namespace qel::core
