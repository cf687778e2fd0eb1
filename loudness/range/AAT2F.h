#pragma once

#include "spectral/FFTSetupOwner.h"

#include <MacTypes.h>

#include <vector>

namespace qel::core {

// Turns a frame of audio into a power spectrum in dB. One set of buffers serves all channels, one
// frame after the other. One thread at a time.
class AAT2F {
public:
    // `frameSize` in samples, a power of two of at least 4. `channels` is not used. Raises
    // std::bad_alloc.
    AAT2F(UInt32 frameSize, UInt32 channels);

    // The input of dftAnalysis: frameSize floats, windowed.
    float* Frame() { return mFrame.data(); }

    // Fills Power from Frame, which is kept. Allocates nothing.
    //
    // With the plain transform X, bin k from 1 to frameSize / 2 - 1 is
    // 10 log10(|2 X[k]|^2 / (2 frameSize)), and so are bin 0 and bin frameSize / 2, whose X is
    // real. White noise of variance v under a window of mean square 1 so lies about 10 log10(2 v).
    // An exact zero has minus infinity.
    void dftAnalysis();

    // frameSize / 2 + 1 values in dB; all 0 before the first analysis.
    const std::vector<float>& Power() const { return mPower; }

private:
    UInt32 mFrameSize;
    UInt32 mLog2FrameSize;
    FFTSetupOwner mSetup;
    float mScale;
    std::vector<float> mFrame;
    std::vector<float> mReal;
    std::vector<float> mImag;
    std::vector<float> mPower;
};

} // namespace qel::core
