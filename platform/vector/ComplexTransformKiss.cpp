// Transforms by KISS FFT in single precision. A configuration is only read while it is executed, so
// that threads may share it.

#include "platform/vector/ComplexTransform.h"

#include <kiss_fft.h>
#include <new>
#include <type_traits>
#include <utility>

namespace qel::platform {
namespace {

static_assert(std::is_same_v<kiss_fft_scalar, float>, "KISS FFT must be the one for float");

struct FreeConfiguration {
    void operator()(kiss_fft_cfg configuration) const { kiss_fft_free(configuration); }
};

using Configuration = std::unique_ptr<std::remove_pointer_t<kiss_fft_cfg>, FreeConfiguration>;

class ComplexTransformKiss final : public ComplexTransform {
public:
    explicit ComplexTransformKiss(Configuration configuration)
        : mConfiguration(std::move(configuration)) {}

    void Run(const float* input, float* output) const override {
        kiss_fft(mConfiguration.get(), reinterpret_cast<const kiss_fft_cpx*>(input),
                 reinterpret_cast<kiss_fft_cpx*>(output));
    }

private:
    Configuration mConfiguration;
};

} // namespace

std::unique_ptr<ComplexTransform> ComplexTransform::Make(unsigned log2Size) {
    Configuration configuration(kiss_fft_alloc(1 << log2Size, 0, nullptr, nullptr));
    if (configuration == nullptr) {
        return nullptr;
    }
    return std::unique_ptr<ComplexTransform>(new (std::nothrow)
                                                 ComplexTransformKiss(std::move(configuration)));
}

} // namespace qel::platform
