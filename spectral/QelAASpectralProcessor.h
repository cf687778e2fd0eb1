#pragma once

#include "spectral/FFTSetupOwner.h"
#include "spectral/SpectralTypes.h"
#include "spectral/SpectralWindow.h"
#include "support/runtime/CAAutoDisposer.h"

#include <Accelerate/Accelerate.h>
#include <CoreAudio/CoreAudioTypes.h>

namespace qel::core {

// Cuts a stream of pushed blocks of any size into overlapping frames, windows and transforms each,
// and hands it to the spectral function or to a subclass's ProcessSpectrum. Frames start at every
// multiple of the hop; a stream of L samples has those with start + transform length <= L. It also
// runs the way back: inverse transform and overlap-add into an output ring, one transform length
// after the input.
//
//   1. Construct; the window is the sine window until another is chosen.
//   2. SetSpectralFunction, and a window.
//   3. ProcessForwards (analysis), or Process (analysis and synthesis), per block.
//
// Samples are floats, one buffer per channel. Everything is allocated in the constructor. One
// thread at a time.
class QelAASpectralProcessor {
public:
    // transformLength  frame and transform length in samples; a power of two from 2 to 2^29
    // hop              samples from one frame to the next; with 0 no input is taken, so that there
    //                  are no frames
    // channels         buffers in the lists
    // maxFrames        the largest block in samples. Of a larger one only what the ring has room
    //                  for is taken, and at most a ring's length is given out, the rest of the
    //                  caller's block filled with silence.
    // halfFrameInput   a frame is filled with transformLength / 2 samples and zeros after them
    // zeroShift        the halves of a frame are swapped before the transform
    //
    // Raises std::bad_alloc when memory is exhausted, and before anything is allocated for a length
    // below 2 or above 2^29, and for length and block of more than 2^31 together.
    QelAASpectralProcessor(UInt32 transformLength, UInt32 hop, UInt32 channels, UInt32 maxFrames,
                           bool halfFrameInput, bool zeroShift);
    QelAASpectralProcessor(const QelAASpectralProcessor&) = delete;
    QelAASpectralProcessor& operator=(const QelAASpectralProcessor&) = delete;
    virtual ~QelAASpectralProcessor();

    // Takes a block and works on all frames that are complete. 1 if there was one, else 0.
    virtual int ProcessForwards(UInt32 frames, AudioBufferList* in);
    // Makes one frame from the spectrum, adds it to the output, and gives out the next block of
    // the output. Always 1.
    virtual int ProcessBackwards(UInt32 frames, AudioBufferList* out);
    // From mFFTBuffer to the spectrum, and back. Back undoes forth, scaling included.
    virtual void DoFwdFFT();
    virtual void DoInvFFT();
    // Called once per frame with the transform length; calls the spectral function.
    virtual void ProcessSpectrum(UInt32 size, SpectralAndAudioBufferList* list);

    // Takes a block, works on all frames that are complete, and gives out a block of the output.
    // Each frame is windowed again after the inverse transform, which also leaves that frame in
    // mAudioFrame. Required by the contract: a zero shift is not undone. Undoing it changes all
    // samples of the output.
    void Process(UInt32 frames, AudioBufferList* in, AudioBufferList* out);

    // Back to the beginning of a stream, with one exception. Required by the contract: the count of
    // pending input samples stays, so that a frame may follow at once from cleared memory. Clearing
    // it moves all frames of the next stream.
    void Reset();

    // Works on a frame of silence, which is no frame of the stream, so that the first one finds its
    // code and tables in the caches. For a processor that has had no input, before
    // SetSpectralFunction.
    void WarmUp();

    // `function` may be null.
    void SetSpectralFunction(SpectralFunction function, void* refCon);

    // Whether each frame is kept as it was before windowing, as it is unless this says otherwise.
    // If not, it is windowed while it is copied from the ring, and the audio buffers of the list
    // mean nothing: for an owner that never looks at them, and a class with this class's
    // DoWindowing.
    void SetKeepsAudioFrames(bool keeps);

    // Windows of the transform length. SetWindow copies it; the others are symmetric: the sine
    // window begins with 0, Hanning's has no zero at either end, Hamming's begins with 0.08.
    void SetWindow(const float* window);
    void SineWindow();
    void HanningWindow();
    void HammingWindow();

    // The magnitudes of the current spectrum, transformLength / 2 per channel, into the buffers of
    // `out`, and their least and greatest per channel. As in the spectrum, values are doubled, and
    // bin 0 has the constant and the Nyquist term together.
    void GetMagnitude(AudioBufferList* out, float* mins, float* maxs);
    // The frequencies in Hz of those bins, at `sampleRate` Hz.
    void GetFrequencies(float* out, float sampleRate) const;
    // The same for any transform.
    static void FrequenciesOfBins(float* out, UInt32 transformLength, float sampleRate);

    // Prints every bin to the standard output, for debugging.
    void PrintSpectralBufferList() const;

protected:
    struct SpectralChannel {
        CAAutoFree<float> mInputRing;  // mRingSize pushed samples
        CAAutoFree<float> mOutputRing; // mRingSize samples of overlap-added result
        CAAutoFree<float> mFFTBuffer;  // mFFTSize: the frame, windowed in place
        CAAutoFree<float> mAudioFrame; // mFFTSize: the frame before windowing
        CAAutoFree<float> mSplitData;  // mFFTSize: real parts, then imaginary parts
    };

    // From the frame in mFFTBuffer to the spectral function: window, transform, ProcessSpectrum. A
    // subclass that puts steps of its own between them overrides it.
    virtual void ProcessFrame();

    // The steps of the frame loop.
    void CopyInput(UInt32 frames, const AudioBufferList* in);
    void CopyInputToFFT(); // consumes one hop
    void DoWindowing();    // keeps the frame in mAudioFrame; nothing happens without a window
    void ZeroShiftInput();
    void OverlapAddOutput();
    void CopyOutput(UInt32 frames, AudioBufferList* out); // and clears what it gave out

    const bool mHalfFrameInput;
    const bool mZeroShift;
    const UInt32 mFFTSize;
    const UInt32 mHopSize;
    const UInt32 mNumChannels;
    const UInt32 mMaxFrames;
    const UInt32 mLog2FFTSize;
    const UInt32 mFFTMask;
    const UInt32 mInputCopyBytes; // what one frame takes from the input ring
    const UInt32 mRingSize;       // a power of two
    const UInt32 mRingMask;
    UInt32 mInputAvailable = 0; // samples in the input rings that are not consumed yet
    UInt32 mInputWritePos = 0;
    UInt32 mOutputReadPos;
    UInt32 mInputReadPos = 0; // start of the next frame
    UInt32 mOutputWritePos = 0;

    FFTSetupOwner mFFTSetup;
    SpectralWindow mWindow;
    CAAutoArrayDelete<SpectralChannel> mChannels;
    CAAutoFree<SpectralAndAudioBufferList> mSpectralBufferList;
    SpectralFunction mSpectralFunction = nullptr;
    void* mSpectralRefCon = nullptr;
    bool mKeepsAudioFrames = true;
    bool mIsWindowed = false; // the frame was windowed while it was copied

private:
    void AllocateChannels();

    CAAutoFree<AudioBufferList> mAudioBuffers; // what the list points at
    UInt32 mInputToSkip = 0;                   // of a hop beyond the input that has come so far
};

} // namespace qel::core
