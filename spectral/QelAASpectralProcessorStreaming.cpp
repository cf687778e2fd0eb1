// The rings and the frame loops of QelAASpectralProcessor.

#include "spectral/QelAASpectralProcessor.h"
#include "spectral/VectorHelpers.h"

#include <algorithm>
#include <cstring>

namespace qel::core {

int QelAASpectralProcessor::ProcessForwards(UInt32 frames, AudioBufferList* in) {
    CopyInput(frames, in);
    int processed = 0;
    while (mInputAvailable >= mFFTSize) {
        CopyInputToFFT();
        ProcessFrame();
        processed = 1;
    }
    return processed;
}

void QelAASpectralProcessor::ProcessFrame() {
    DoWindowing();
    if (mZeroShift) {
        ZeroShiftInput();
    }
    DoFwdFFT();
    ProcessSpectrum(mFFTSize, mSpectralBufferList);
}

void QelAASpectralProcessor::WarmUp() {
    ProcessFrame();
}

int QelAASpectralProcessor::ProcessBackwards(UInt32 frames, AudioBufferList* out) {
    ProcessSpectrum(mFFTSize, mSpectralBufferList);
    DoInvFFT();
    DoWindowing();
    OverlapAddOutput();
    CopyOutput(frames, out);
    return 1;
}

void QelAASpectralProcessor::Process(UInt32 frames, AudioBufferList* in, AudioBufferList* out) {
    CopyInput(frames, in);
    while (mInputAvailable >= mFFTSize) {
        CopyInputToFFT();
        DoWindowing();
        if (mZeroShift) {
            ZeroShiftInput();
        }
        DoFwdFFT();
        ProcessSpectrum(mFFTSize, mSpectralBufferList);
        DoInvFFT();
        DoWindowing();
        OverlapAddOutput();
    }
    CopyOutput(frames, out);
}

void QelAASpectralProcessor::DoFwdFFT() {
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        DSPSplitComplex* const spectrum = &mSpectralBufferList->mSpectra[c];
        float* const frame = mChannels[c].mFFTBuffer;
        const DSPSplitComplex samples = {frame, frame + 1};
        vDSP_fft_zrop(mFFTSetup.get(), &samples, 2, spectrum, 1, mLog2FFTSize,
                      kFFTDirection_Forward);
    }
}

void QelAASpectralProcessor::DoInvFFT() {
    // One transform forth and one back multiply by 2 N.
    const auto scale = static_cast<float>(0.5 / mFFTSize);
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        DSPSplitComplex* const spectrum = &mSpectralBufferList->mSpectra[c];
        float* const frame = mChannels[c].mFFTBuffer;
        vDSP_fft_zrip(mFFTSetup.get(), spectrum, 1, mLog2FFTSize, kFFTDirection_Inverse);
        vDSP_ztoc(spectrum, 1, reinterpret_cast<DSPComplex*>(frame), 2, mFFTSize / 2);
        vDSP_vsmul(frame, 1, &scale, frame, 1, mFFTSize);
    }
}

void QelAASpectralProcessor::ProcessSpectrum(UInt32 /*size*/, SpectralAndAudioBufferList* list) {
    if (mSpectralFunction != nullptr) {
        mSpectralFunction(list, mSpectralRefCon);
    }
}

void QelAASpectralProcessor::CopyInput(UInt32 frames, const AudioBufferList* in) {
    // Without a hop nothing would ever be consumed.
    const UInt32 taken = mHopSize > 0 ? std::min(frames, mRingSize - mInputAvailable) : 0;
    const UInt32 first = std::min(taken, mRingSize - mInputWritePos);
    for (UInt32 c = 0; taken > 0 && c < mNumChannels; ++c) {
        const auto* const samples = static_cast<const float*>(in->mBuffers[c].mData);
        float* const ring = mChannels[c].mInputRing;
        std::copy_n(samples, first, ring + mInputWritePos);
        std::copy_n(samples + first, taken - first, ring);
    }
    mInputAvailable += taken;
    mInputWritePos = (mInputWritePos + taken) & mRingMask;

    const UInt32 skipped = std::min(mInputToSkip, mInputAvailable);
    mInputToSkip -= skipped;
    mInputAvailable -= skipped;
    mInputReadPos = (mInputReadPos + skipped) & mRingMask;
}

void QelAASpectralProcessor::CopyInputToFFT() {
    const UInt32 wanted = mInputCopyBytes / static_cast<UInt32>(sizeof(float));
    const UInt32 first = std::min(wanted, mRingSize - mInputReadPos);
    mIsWindowed = !mKeepsAudioFrames && mWindow != nullptr;
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        const float* const ring = mChannels[c].mInputRing;
        float* const frame = mChannels[c].mFFTBuffer;
        if (mIsWindowed) {
            vDSP_vmul(ring + mInputReadPos, 1, mWindow, 1, frame, 1, first);
            vDSP_vmul(ring, 1, mWindow + first, 1, frame + first, 1, wanted - first);
        } else {
            std::copy_n(ring + mInputReadPos, first, frame);
            std::copy_n(ring, wanted - first, frame + first);
        }
    }
    // Of a hop longer than the input so far, CopyInput skips the rest when it comes.
    const UInt32 consumed = std::min(mHopSize, mInputAvailable);
    mInputToSkip += mHopSize - consumed;
    mInputAvailable -= consumed;
    mInputReadPos = (mInputReadPos + consumed) & mRingMask;
}

void QelAASpectralProcessor::DoWindowing() {
    if (mWindow == nullptr || mIsWindowed) {
        mIsWindowed = false;
        return;
    }
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        float* const frame = mChannels[c].mFFTBuffer;
        std::copy_n(frame, mFFTSize, mChannels[c].mAudioFrame.get());
        vDSP_vmul(frame, 1, mWindow, 1, frame, 1, mFFTSize);
    }
}

void QelAASpectralProcessor::ZeroShiftInput() {
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        ZeroShift(mChannels[c].mFFTBuffer, mFFTSize);
    }
}

void QelAASpectralProcessor::OverlapAddOutput() {
    const UInt32 first = std::min(mFFTSize, mRingSize - mOutputWritePos);
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        const float* const frame = mChannels[c].mFFTBuffer;
        float* const ring = mChannels[c].mOutputRing;
        float* const end = ring + mOutputWritePos;
        vDSP_vadd(frame, 1, end, 1, end, 1, first);
        if (first < mFFTSize) {
            vDSP_vadd(frame + first, 1, ring, 1, ring, 1, mFFTSize - first);
        }
    }
    mOutputWritePos = (mOutputWritePos + mHopSize) & mRingMask;
}

void QelAASpectralProcessor::CopyOutput(UInt32 frames, AudioBufferList* out) {
    const UInt32 given = std::min(frames, mRingSize);
    const UInt32 first = std::min(given, mRingSize - mOutputReadPos);
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        float* const ring = mChannels[c].mOutputRing;
        auto* const samples = static_cast<float*>(out->mBuffers[c].mData);
        std::copy_n(ring + mOutputReadPos, first, samples);
        std::copy_n(ring, given - first, samples + first);
        std::fill_n(samples + given, frames - given, 0.0f);
        std::fill_n(ring + mOutputReadPos, first, 0.0f);
        std::fill_n(ring, given - first, 0.0f);
    }
    mOutputReadPos = (mOutputReadPos + given) & mRingMask;
}

} // namespace qel::core
