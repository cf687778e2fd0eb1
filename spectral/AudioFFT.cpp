#include "spectral/AudioFFT.h"

#include "spectral/ConstantSine.h"

#include <CoreAudio/CoreAudioTypes.h>

#include <cstddef>
#include <cstdlib>
#include <numbers>

namespace qel::core {

namespace {

constexpr std::array<float, 1024> MakeWindowCoeffs() {
    std::array<float, 1024> coeffs{};
    for (std::size_t k = 0; k < coeffs.size() / 2; ++k) {
        const double sine =
            ConstantSine(std::numbers::pi * (static_cast<double>(k) + 0.5) / 1024.0);
        coeffs[k] = static_cast<float>(32768.0 * sine * sine);
        coeffs[coeffs.size() - 1 - k] = coeffs[k];
    }
    return coeffs;
}

} // namespace

constexpr std::array<float, 1024> sFFTWindowCoeffs = MakeWindowCoeffs();

int HasVectorUnit() {
    return 1;
}

OSStatus CreateAudioFFT(int log2Length, AudioFFTContext** outContext) {
    if (outContext == nullptr) {
        return kAudio_ParamError;
    }
    *outContext = nullptr;
    auto* const context = static_cast<AudioFFTContext*>(std::calloc(1, sizeof(AudioFFTContext)));
    if (context == nullptr) {
        return kAudio_MemFullError;
    }
    if (log2Length >= 0) {
        context->mLog2Length = static_cast<UInt32>(log2Length);
        context->mSetup = vDSP_create_fftsetup(context->mLog2Length, kFFTRadix2);
    }
    if (context->mSetup == nullptr) {
        DisposeAudioFFT(context);
        return kAudio_MemFullError;
    }
    *outContext = context;
    return 0;
}

void RealFFT(AudioFFTContext* context, unsigned int log2Length, float* real, float* imag) {
    const DSPSplitComplex split = {real, imag};
    vDSP_fft_zrip(context->mSetup, &split, 1, log2Length, kFFTDirection_Forward);
}

OSStatus RealFFTInterleaved(AudioFFTContext* context, unsigned int log2Length, const float* in,
                            float* out) {
    if (log2Length > context->mLog2Length) {
        return kAudio_ParamError;
    }
    if (context->mScratch == nullptr) {
        // One float in each half at least, which the transform of a single sample touches.
        const std::size_t half = (std::size_t{1} << context->mLog2Length) / 2;
        const std::size_t room = half > 0 ? half : 1;
        context->mScratch = static_cast<float*>(std::calloc(2 * room, sizeof(float)));
        if (context->mScratch == nullptr) {
            return kAudio_MemFullError;
        }
        context->mScratchImag = context->mScratch + room;
    }
    const std::size_t half = (std::size_t{1} << log2Length) / 2;
    const DSPSplitComplex split = {context->mScratch, context->mScratchImag};
    vDSP_ctoz(reinterpret_cast<const DSPComplex*>(in), 2, &split, 1, half);
    vDSP_fft_zrip(context->mSetup, &split, 1, log2Length, kFFTDirection_Forward);
    constexpr float kUndouble = 0.5f;
    vDSP_vsmul(split.realp, 1, &kUndouble, split.realp, 1, half);
    vDSP_vsmul(split.imagp, 1, &kUndouble, split.imagp, 1, half);
    split.imagp[0] = 0.0f;
    vDSP_ztoc(&split, 1, reinterpret_cast<DSPComplex*>(out), 2, half);
    return 0;
}

void DisposeAudioFFT(AudioFFTContext* context) {
    if (context == nullptr) {
        return;
    }
    vDSP_destroy_fftsetup(context->mSetup);
    std::free(context->mScratch);
    std::free(context);
}

} // namespace qel::core
