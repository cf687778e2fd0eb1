#pragma once

#include "engine/base/QelAAAnalysisBase.h"
#include "spectral/QelAASpectralProcessor.h"

namespace qel::core {

// What frame-based features share: an owned spectral processor, a frame size and a hop.
//
// A subclass builds the processor in its AllocateBuffers, which runs first from ReadyAnalysis,
// after SetComputeProperty; everything per frame happens in the processor's spectral callback,
// inside PushAudio. There is no silence at the end: samples after the last whole frame are not
// analyzed.
class QelAAAnalysisGenerator : public QelAAAnalysisBase {
public:
    // `frameSize` and `hop` in samples; the rest as for QelAAAnalysisBase.
    QelAAAnalysisGenerator(UInt32 channels, Float64 sampleRate, UInt32 frameSize, UInt32 hop,
                           UInt32 maxFrames, UInt32 streamLength, DataCallback dataCallback,
                           void* refCon);
    ~QelAAAnalysisGenerator() override;

    // kAudioAnalysisErr_NullBufferList for a null list, else 0.
    SInt32 PushAudio(AudioBufferList* list, UInt32 frames) override;

    // ProcessFinal alone, without the push of silence.
    SInt32 Process(UInt8 flush, ProgressCallback progress, void* progressRefCon) override;

    // Writes sample rate, frame size and hop; the last 8 bytes of the record stay as they are.
    SInt32 GetMetaDataForKey(CFStringRef key, void* outData) override;

    // Sets mNumAnalysisFrames to the frames that a stream of `length` samples gives: 1 for a length
    // of 0 (unknown). It is an estimate, one too high where the length is not a whole number of
    // hops, and formed in single precision, so inexact from about 16.7 million frames on.
    virtual void ComputeNumberOfAnalysisFramesForLength(UInt32 length);

protected:
    void NullPointers() override;
    void Cleanup() override;
    void AllocateBuffers() override;

    CAAutoDelete<QelAASpectralProcessor> mSpectralProcessor;
    const UInt32 mFrameSize;
    const UInt32 mHopSize;
    const UInt32 mNumBins; // mFrameSize / 2
    UInt32 mNumAnalysisFrames = 0;
};

} // namespace qel::core
