#include "rhythm/math/RhythmMath.h"

#include "spectral/FFTFrame.h"
#include "spectral/VectorHelpers.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <new>
#include <vector>

namespace qel::core {

namespace {

// Ascending, NaN last, so that the order stays one.
bool Below(float a, float b) {
    return std::isnan(b) ? !std::isnan(a) : a < b;
}

} // namespace

void ComputeMedianOfFloatVector(const float* x, unsigned int n, float& median) {
    if (n == 0) {
        median = 0.0f;
        return;
    }
    // Two order statistics need no full sort: everything after the first is not below it.
    std::vector<float> values(x, x + n);
    const std::size_t top = n - std::size_t{1};
    const std::size_t lower = std::min((n + std::size_t{1}) / 2, top);
    const auto at = values.begin() + static_cast<std::ptrdiff_t>(lower);
    std::nth_element(values.begin(), at, values.end(), Below);
    median = *at;
    if (n % 2 == 0) {
        const bool hasUpper = lower < top;
        const float upper = hasUpper ? *std::min_element(at + 1, values.end(), Below) : *at;
        median = 0.5f * (*at + upper);
    }
}

void ComputeAutocorrelationFFT(const float* x, unsigned int n, float* out) {
    if (n < 2) {
        // A transform of one point has no packed form; it is the value itself.
        std::transform(x, x + n, out, [](float value) { return value * value; });
        return;
    }
    constexpr unsigned int kLongest = 1u << 30;
    if (n > kLongest) {
        throw std::bad_alloc();
    }
    const UInt32 size = NextPowerOfTwo(n);
    std::vector<float> samples(size);
    std::copy_n(x, n, samples.begin());
    FFTFrame frame(static_cast<int>(size));
    frame.FFT(samples.data());
    frame.GetMagnitudeInPlace();
    frame.InverseFFT(samples.data());
    std::copy_n(samples.begin(), n, out);
}

} // namespace qel::core
