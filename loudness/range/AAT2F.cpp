#include "loudness/range/AAT2F.h"

#include "spectral/VectorHelpers.h"

#include <Accelerate/Accelerate.h>

#include <cmath>
#include <new>

namespace qel::core {

AAT2F::AAT2F(UInt32 frameSize, UInt32)
    : mFrameSize(frameSize), mLog2FrameSize(Log2Ceil(frameSize)),
      mSetup(vDSP_create_fftsetup(mLog2FrameSize, kFFTRadix2)),
      mScale(static_cast<float>(std::sqrt(0.5 / frameSize))), mFrame(frameSize),
      mReal(frameSize / 2), mImag(frameSize / 2), mPower(frameSize / 2 + 1) {
    if (mSetup == nullptr) {
        throw std::bad_alloc();
    }
}

void AAT2F::dftAnalysis() {
    constexpr float kDecibelsPerDecade = 10.0f;
    const UInt32 half = mFrameSize / 2;
    DSPSplitComplex spectrum{mReal.data(), mImag.data()};
    vDSP_ctoz(reinterpret_cast<const DSPComplex*>(mFrame.data()), 2, &spectrum, 1, half);
    vDSP_fft_zrip(mSetup.get(), &spectrum, 1, mLog2FrameSize, kFFTDirection_Forward);
    vDSP_vsmul(spectrum.realp, 1, &mScale, spectrum.realp, 1, half);
    vDSP_vsmul(spectrum.imagp, 1, &mScale, spectrum.imagp, 1, half);

    float* const power = mPower.data();
    vDSP_zvmags(&spectrum, 1, power, 1, half);
    // Bin 0 holds two real numbers.
    power[0] = mReal[0] * mReal[0];
    power[half] = mImag[0] * mImag[0];

    const auto bins = static_cast<int>(half + 1);
    vvlog10f(power, power, &bins);
    vDSP_vsmul(power, 1, &kDecibelsPerDecade, power, 1, half + 1);
}

} // namespace qel::core
