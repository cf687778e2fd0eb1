#include "spectral/FFTFrame.h"

#include "elementary/Functions.h"
#include "spectral/VectorHelpers.h"

#include <algorithm>
#include <new>
#include <numbers>

namespace qel::core {

namespace {

constexpr double kPi = std::numbers::pi;

double WindowValue(int type, unsigned int i, unsigned int length) {
    const double t = static_cast<double>(static_cast<float>(i) / static_cast<float>(length));
    switch (type) {
    case kWindowHann:
        return 0.5 * (1.0 - elementary::Cos(2.0 * kPi * t));
    case kWindowHamming:
        return 0.54 - 0.46 * elementary::Cos(2.0 * kPi * t);
    case kWindowBlackman:
        return 0.42 - 0.5 * elementary::Cos(2.0 * kPi * t) + 0.08 * elementary::Cos(4.0 * kPi * t);
    case kWindowSine:
        return elementary::Sin(kPi * t);
    default: {
        // 4.2 standard deviations from the middle to the start.
        const double half = 0.5 * length;
        const double u = static_cast<double>(static_cast<float>(4.2 * (i - half) / half));
        return elementary::Exp(-0.5 * u * u);
    }
    }
}

} // namespace

FFTFrame::FFTFrame(int size) {
    Initialize(size);
}

void FFTFrame::Initialize(int size) {
    constexpr int kLongest = 1 << 30;
    mSetup.reset();
    mReal.free();
    mImag.free();
    mSpectrum = {nullptr, nullptr};
    mSize = 0;
    mLog2Size = 0;
    mHalfSize = 0;
    if (size < 2 || size > kLongest) {
        throw std::bad_alloc();
    }
    const auto samples = static_cast<UInt32>(size);
    mReal.alloc(samples, true);
    mImag.alloc(samples, true);
    mSetup.reset(vDSP_create_fftsetup(Log2Ceil(samples), kFFTRadix2));
    if (mSetup == nullptr) {
        throw std::bad_alloc();
    }
    mSpectrum = {mReal, mImag};
    mSize = samples;
    mLog2Size = Log2Ceil(samples);
    mHalfSize = samples >> 1;
}

void FFTFrame::FFT(float* samples) {
    vDSP_ctoz(reinterpret_cast<const DSPComplex*>(samples), 2, &mSpectrum, 1, mHalfSize);
    vDSP_fft_zrip(mSetup.get(), &mSpectrum, 1, mLog2Size, kFFTDirection_Forward);
    FixSpectrum();
}

void FFTFrame::FixSpectrum() {
    // The transform is doubled.
    const float scale = 2.0f * static_cast<float>(mSize);
    vDSP_vsdiv(mSpectrum.realp, 1, &scale, mSpectrum.realp, 1, mHalfSize);
    vDSP_vsdiv(mSpectrum.imagp, 1, &scale, mSpectrum.imagp, 1, mHalfSize);
    mSpectrum.imagp[0] = 0.0f;
}

void FFTFrame::GetMagnitudeInPlace() {
    vDSP_zvabs(&mSpectrum, 1, mSpectrum.realp, 1, mHalfSize);
    vDSP_vsq(mSpectrum.realp, 1, mSpectrum.realp, 1, mHalfSize);
    std::fill_n(mSpectrum.imagp, mHalfSize, 0.0f);
}

void FFTFrame::InverseFFT(float* out) {
    vDSP_fft_zrip(mSetup.get(), &mSpectrum, 1, mLog2Size, kFFTDirection_Inverse);
    vDSP_ztoc(&mSpectrum, 1, reinterpret_cast<DSPComplex*>(out), 2, mHalfSize);
}

void FFTFrame::ApplyWindow(float* samples, const float* window, unsigned int count) const {
    vDSP_vmul(samples, 1, window, 1, samples, 1, count);
}

float FFTFrame::CreateWindow(float* window, unsigned int length, int type, float /*unused*/) const {
    float sum = 0.0f;
    for (unsigned int i = 0; i < length; ++i) {
        window[i] = static_cast<float>(WindowValue(type, i, length));
        sum += window[i];
    }
    return sum;
}

} // namespace qel::core
