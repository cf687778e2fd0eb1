#include "rhythm/math/RhythmMath.h"

#include <Accelerate/Accelerate.h>

#include <algorithm>
#include <cstddef>

namespace qel::core {

namespace {

constexpr std::size_t kOutputsPerReport = 2000;

struct Operands {
    const float* a;
    std::size_t na;
    const float* b;
    std::size_t nb;
};

// The outputs from first below end. Whatever the way, each sums its products from the lowest index
// of b up, so that all ways give the same.
void ComputeOutputs(const Operands& in, float* out, std::size_t first, std::size_t end) {
    if (first >= end) {
        return;
    }
    if (first + 1 >= in.na && end <= in.nb) {
        // All of a takes part in each: a correlation with a reversed.
        const float* const from = in.b + (first + 1 - in.na);
        vDSP_conv(from, 1, in.a + (in.na - 1), -1, out + first, 1, end - first, in.na);
        return;
    }
    std::fill(out + first, out + end, 0.0f);
    for (std::size_t i = first < in.na ? 0 : first + 1 - in.na; i < std::min(in.nb, end); ++i) {
        const std::size_t from = std::max(first, i);
        const std::size_t to = std::min(end, i + in.na);
        vDSP_vsma(in.a + (from - i), 1, in.b + i, out + from, 1, out + from, 1, to - from);
    }
}

} // namespace

SInt32 Convolve(const float* a, unsigned int na, const float* b, unsigned int nb, float* out,
                ConvolveProgress progress, void* progressContext, unsigned int stepsDone,
                float stepsWeight, unsigned int stepIndex, float stepWeight) {
    if (na == 0) {
        return 0;
    }
    const Operands in{a, na, b, nb};
    const std::size_t outputs = in.na + in.nb - 1;
    const std::size_t partial = std::min(in.na - 1, in.nb); // before it, a hangs over b's start
    std::size_t done = 0;
    const auto computeBelow = [&](std::size_t end) {
        ComputeOutputs(in, out, done, std::clamp(partial, done, end));
        ComputeOutputs(in, out, std::clamp(partial, done, end), end);
        done = end;
    };
    for (std::size_t i = 0; progress != nullptr && i < in.nb; i += kOutputsPerReport) {
        computeBelow(i + 1);
        const float fraction = static_cast<float>(i) / static_cast<float>(in.nb) * 0.3f;
        const float value = static_cast<float>(stepsDone) * stepsWeight +
                            static_cast<float>(stepIndex) * stepWeight + fraction * stepWeight;
        if (progress(nullptr, value, progressContext) != 0) {
            return kStopped;
        }
    }
    computeBelow(in.nb);
    ComputeOutputs(in, out, in.nb, outputs);
    return 0;
}

} // namespace qel::core
