#pragma once

#include "engine/base/QelAAAnalysisGenerator.h"
#include "refinement/AAReassignedMatrix.h"
#include "refinement/AAReassignedScatter.h"
#include "refinement/AAReassignedValues.h"
#include "support/audio/FrameStore.h"

namespace qel::core {

class AAReassignedReplay;
class AAReassignedSpectralProcessor;

// Slot 14: at the end of the stream, per channel, a spectrogram in which every value is placed
// where its energy lies: at the frequency and the time that AAReassignedSpectralProcessor found.
//
// Values are scattered while frames come (see AAReassignedScatter): 8 bytes per bin are kept. The
// stream's audio is kept beside them, a hop per frame, and frames are worked out once more where
// the scattered ones do not do:
//
//   - Of a stream longer than declared, the rings of the declared length lose the first frames, and
//     that shows in all that are left (see AAReassignedFrames).
//   - Another Process delivers all frames again, with those that have come since. What was
//   scattered
//     belongs to the first delivery: its last row is another one, and the client may have written
//     to it.
class AAReassignedSpectrumGenerator : public QelAAAnalysisGenerator {
public:
    using QelAAAnalysisGenerator::QelAAAnalysisGenerator;
    ~AAReassignedSpectrumGenerator() override;

    // The size of one frame: mNumBins complex values.
    UInt32 GetSizeOfAnalysisDataForKey(CFStringRef key) override;
    CFPropertyListRef CreateCFRepresentation(CFAllocatorRef allocator, CFStringRef key,
                                             UInt32 count,
                                             const QelAudioAnalysisBlock* blocks) override;

    // Delivers all frames since the last reset, in an array of channels times frames blocks, of
    // which only number c times frames is filled: it points at all frames of channel c and tells
    // the size of one.
    //
    // Required by the contract: the other blocks are empty. Clients find a channel at c times
    // frames.
    SInt32 ProcessFinal(UInt8 flush) override;

    // Scatters what the processor found in a frame, and keeps the frame's audio.
    void ComputeAndStoreProperties(const SpectralAndAudioBufferList& list);

protected:
    void NullPointers() override;
    void Cleanup() override;
    void AllocateBuffers() override;

    // Per channel one frame of interleaved complex values.
    CAAutoDelete<CABufferList> mSpectrumBuffers;
    // Per channel as many samples as a frame has.
    CAAutoDelete<CABufferList> mAudioBuffers;
    // Of as many frames as the declared length has, the first hop of each. That of frame t stands
    // in place t mod that number.
    CAAutoDelete<FrameStore> mAudioStore;
    // None without declared frames, and after its delivery.
    CAAutoDelete<AAReassignedScatter> mScatter;
    double mStoredFrames = 0.0; // the time of the next frame
    // A declared length may be false: the matrix takes no more than about four gigabytes of
    // addresses before frames need it.
    UInt64 mTrustedBytes = (UInt64{1} << 32) - (UInt64{1} << 20);

private:
    struct Again;
    friend void MyReplayFun(SpectralAndAudioBufferList* list, void* refCon);

    CAAutoDelete<AAReassignedSpectralProcessor>
    NewProcessor(UInt32 maxFrames, SpectralFunction function, void* refCon) const;
    void ReserveFrames();
    void ReserveMatrix(UInt64 frames, UInt64 leastFrames);
    UInt32 KeptSamples() const; // of a frame's audio
    AAReassignedValues ValuesOf(const SpectralAndAudioBufferList& list,
                                const AAReassignedSpectralProcessor& processor);
    void KeepAudio(const AudioBufferList& frame);
    void ScatterFrame(const AAReassignedValues& values);
    void ScatterAgain(UInt64 frames, AAReassignedMatrix& matrix);
    void PushAudioAgain(UInt64 first, UInt64 frames, AAReassignedSpectralProcessor& processor);
    void Deliver(UInt64 frames, AAReassignedMatrix& matrix, QelAudioAnalysisBlock* blocks);

    // The whole audio of the last frame, where the processor holds it until the next one.
    const AudioBufferList* mLastFrame = nullptr;
};

// The spectral callback; `refCon` is the generator.
void MySpectralFun(SpectralAndAudioBufferList* list, void* refCon);

} // namespace qel::core
