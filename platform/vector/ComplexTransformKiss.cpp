// Transforms by KISS FFT in single precision, compiled here from its header: so its products are
// fused with its sums no more than ours, whatever the processor. A transform is only read while it
// is executed, so that threads may share it.

#include "elementary/Functions.h"
#include "platform/vector/ComplexTransform.h"

#include <kissfft/kissfft.hh>

#include <complex>
#include <new>
#include <numbers>
#include <vector>

namespace qel::platform {
namespace {

using Number = std::complex<float>;
using Transform = kissfft<float>;

// The header forms its factors by the C library, of angles in single precision. They are replaced,
// for which an instantiation by name may see a private member; no other way leads to it.
std::vector<Number>& FactorsOf(Transform& transform);

template <std::vector<Number> Transform::*kFactors>
struct FactorAccess {
    friend std::vector<Number>& FactorsOf(Transform& transform) { return transform.*kFactors; }
};

template struct FactorAccess<&Transform::_twiddles>;

void ReplaceFactors(Transform& transform) {
    std::vector<Number>& factors = FactorsOf(transform);
    const double step = -2.0 * std::numbers::pi / static_cast<double>(factors.size());
    for (std::size_t k = 0; k < factors.size(); ++k) {
        const auto [sine, cosine] = elementary::SinCos(step * static_cast<double>(k));
        factors[k] = {static_cast<float>(cosine), static_cast<float>(sine)};
    }
}

class ComplexTransformKiss final : public ComplexTransform {
public:
    explicit ComplexTransformKiss(unsigned log2Size)
        : mTransform(std::size_t{1} << log2Size, false) {
        ReplaceFactors(mTransform);
    }

    void Run(const float* input, float* output) const override {
        mTransform.transform(reinterpret_cast<const Number*>(input),
                             reinterpret_cast<Number*>(output));
    }

private:
    Transform mTransform;
};

// Of one number. The header takes it for a size of which no factor is known, and would keep memory
// for it while it transforms.
class ComplexTransformOfOne final : public ComplexTransform {
public:
    void Run(const float* input, float* output) const override {
        output[0] = input[0];
        output[1] = input[1];
    }
};

} // namespace

std::unique_ptr<ComplexTransform> ComplexTransform::Make(unsigned log2Size) {
    try {
        if (log2Size == 0) {
            return std::make_unique<ComplexTransformOfOne>();
        }
        return std::make_unique<ComplexTransformKiss>(log2Size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

} // namespace qel::platform
