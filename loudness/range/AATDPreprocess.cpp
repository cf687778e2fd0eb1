#include "loudness/range/AATDPreprocess.h"

#include "elementary/Functions.h"

#include <Accelerate/Accelerate.h>

#include <cmath>
#include <numbers>

namespace qel::core {

namespace {

constexpr double kMostZeros = 0.1; // of the frame
constexpr double kLeastVariance = 1e-8;

float Sum(const float* data, UInt32 count) {
    float sum = 0.0f;
    vDSP_sve(data, 1, &sum, count);
    return sum;
}

float SumOfSquares(const float* data, UInt32 count) {
    float sum = 0.0f;
    vDSP_svesq(data, 1, &sum, count);
    return sum;
}

UInt32 CountZeros(const float* data, UInt32 count) {
    UInt32 zeros = 0;
    for (UInt32 i = 0; i < count; ++i) {
        zeros += data[i] == 0.0f ? 1u : 0u;
    }
    return zeros;
}

} // namespace

AATDPreprocess::AATDPreprocess(UInt32 frameSize) : mFrameSize(frameSize), mWindow(frameSize) {
    const double angle = std::numbers::pi / frameSize;
    double sum = 0.0;
    for (UInt32 i = 0; i < frameSize; ++i) {
        const double sine = elementary::Sin((i + 0.5) * angle);
        sum += sine * sine;
    }
    const double gain = std::sqrt(frameSize / sum);
    for (UInt32 i = 0; i < frameSize; ++i) {
        mWindow[i] = static_cast<float>(gain * elementary::Sin((i + 0.5) * angle));
    }
}

void AATDPreprocess::ApplyWindow(const float* firstHalf, const float* secondHalf, float* output,
                                 UInt32, UInt32, int* usable) const {
    const UInt32 half = mFrameSize / 2;
    float* const outputs[] = {output, output + half};
    const float* const halves[] = {firstHalf, secondHalf};
    const auto size = static_cast<float>(mFrameSize);

    const float minusMean = -((Sum(firstHalf, half) + Sum(secondHalf, half)) / size);
    for (int h = 0; h < 2; ++h) {
        vDSP_vsadd(halves[h], 1, &minusMean, outputs[h], 1, half);
    }
    const float variance = SumOfSquares(output, mFrameSize) / size;

    UInt32 zeros = 0;
    for (int h = 0; h < 2; ++h) {
        vDSP_vmul(halves[h], 1, mWindow.data() + static_cast<UInt32>(h) * half, 1, outputs[h], 1,
                  half);
        zeros += CountZeros(halves[h], half);
    }
    const bool tellsNothing = zeros > kMostZeros * mFrameSize || double{variance} < kLeastVariance;
    *usable = tellsNothing ? 0 : 1;
}

} // namespace qel::core
