#include "spectral/VectorHelpers.h"

#include <Accelerate/Accelerate.h>

#include <algorithm>
#include <bit>

namespace qel::core {

float BinToFreq(unsigned int bin, unsigned int size, float sampleRate) {
    return static_cast<float>(bin) / static_cast<float>(size) * sampleRate;
}

void ComputeHistogram(const float* data, unsigned int length, float* histogram, float minimum,
                      float maximum, unsigned int binCount) {
    if (binCount == 0) {
        return;
    }
    std::fill_n(histogram, binCount, 0.0f);
    const auto bins = static_cast<float>(binCount);
    const float width = (maximum - minimum + 1.0f) / bins;
    const float scale = 1.0f / width;
    const float offset = -minimum;
    for (unsigned int i = 0; i < length; ++i) {
        const float position = (data[i] + offset) * scale;
        // Truncation takes all above -1 to bin 0. The test is false for NaN.
        const bool inside = position > -1.0f && position < bins;
        const auto bin =
            inside ? static_cast<unsigned int>(static_cast<long long>(position)) : binCount - 1;
        histogram[std::min(bin, binCount - 1)] += 1.0f;
    }
}

void HalfWaveRectify(const float* in, unsigned int length, float* out) {
    constexpr float kThreshold = 0.0f;
    vDSP_vthr(in, 1, &kThreshold, out, 1, length);
}

void ZeroShift(float* data, unsigned int length) {
    const unsigned int half = length >> 1;
    std::swap_ranges(data, data + half, data + half);
}

int CountLeadingZeroes(int value) {
    return std::countl_zero(static_cast<unsigned int>(value));
}

UInt32 Log2Ceil(unsigned int n) {
    return 32u - static_cast<UInt32>(CountLeadingZeroes(static_cast<int>(n - 1)));
}

UInt32 NextPowerOfTwo(unsigned int n) {
    if (n == 0) {
        return 1;
    }
    return static_cast<UInt32>(UInt64{1} << Log2Ceil(n));
}

void NormalizeFloatVector(float* v, unsigned int n) {
    float largest = 0.0f;
    vDSP_maxv(v, 1, &largest, n);
    vDSP_vsdiv(v, 1, &largest, v, 1, n);
}

} // namespace qel::core
