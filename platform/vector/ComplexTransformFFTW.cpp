// Transforms by FFTW in single precision.
//
// Plans are made under FFTW_ESTIMATE, which measures nothing, so that they are the same in every
// run. Making and destroying plans is the part of FFTW that threads may not share; it happens under
// one lock. Executing a plan on other arrays of the same alignment is free of locks.

#include "platform/vector/ComplexTransform.h"

#include "platform/vector/TransformScratch.h"

#include <fftw3.h>
#include <mutex>
#include <new>
#include <type_traits>
#include <utility>

namespace qel::platform {
namespace {

std::mutex& PlannerLock() {
    static std::mutex lock;
    return lock;
}

fftwf_complex* AsComplex(float* interleaved) {
    return reinterpret_cast<fftwf_complex*>(interleaved);
}

struct DestroyPlan {
    void operator()(fftwf_plan plan) const {
        const std::lock_guard guard(PlannerLock());
        fftwf_destroy_plan(plan);
    }
};

using Plan = std::unique_ptr<std::remove_pointer_t<fftwf_plan>, DestroyPlan>;

Plan MakePlan(int size, float* input, float* output) {
    const std::lock_guard guard(PlannerLock());
    return Plan(fftwf_plan_dft_1d(size, AsComplex(input), AsComplex(output), FFTW_FORWARD,
                                  FFTW_ESTIMATE | FFTW_PRESERVE_INPUT));
}

class ComplexTransformFFTW final : public ComplexTransform {
public:
    explicit ComplexTransformFFTW(Plan plan) : mPlan(std::move(plan)) {}

    void Run(const float* input, float* output) const override {
        // A plan that preserves its input only reads it.
        fftwf_execute_dft(mPlan.get(), AsComplex(const_cast<float*>(input)), AsComplex(output));
    }

private:
    Plan mPlan;
};

} // namespace

std::unique_ptr<ComplexTransform> ComplexTransform::Make(unsigned log2Size) {
    // Planning looks at the alignment of the arrays, not at what is in them.
    TransformScratch arrays;
    const std::size_t floats = std::size_t{2} << log2Size;
    if (!arrays.Reserve(2 * floats)) {
        return nullptr;
    }
    Plan plan = MakePlan(1 << log2Size, arrays.Data(), arrays.Data() + floats);
    if (plan == nullptr) {
        return nullptr;
    }
    return std::unique_ptr<ComplexTransform>(new (std::nothrow)
                                                 ComplexTransformFFTW(std::move(plan)));
}

} // namespace qel::platform
