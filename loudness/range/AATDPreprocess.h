#pragma once

#include <MacTypes.h>

#include <vector>

namespace qel::core {

// Qualifies a frame of audio for measuring, and windows it.
//
// The window is a sine half wave whose mean square is 1, so that it leaves the power of white noise
// as it is. Nothing is kept from one frame to the next, and ApplyWindow may run in any thread.
class AATDPreprocess {
public:
    // `frameSize` in samples, even and above 0. Raises std::bad_alloc.
    explicit AATDPreprocess(UInt32 frameSize);

    // Windows the frame that the two halves form, frameSize / 2 samples each, into `output`,
    // frameSize floats that overlap neither. `channel` and `channels` are ignored: all channels
    // have one window.
    //
    // `usable` becomes 0 for a frame that shows nothing of a recording, else 1: one with more than
    // a tenth of its samples exactly 0 (silence, or audio that begins or ends within it), or with a
    // variance below 1e-8 (a constant). A frame with samples that are infinite or not a number has
    // a variance that is not a number, which is not below anything.
    void ApplyWindow(const float* firstHalf, const float* secondHalf, float* output, UInt32 channel,
                     UInt32 channels, int* usable) const;

    const std::vector<float>& Window() const { return mWindow; }

private:
    UInt32 mFrameSize;
    std::vector<float> mWindow;
};

} // namespace qel::core
