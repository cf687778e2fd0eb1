// Transforms by FFTW in single precision.
//
// Plans are made under FFTW_ESTIMATE, which measures nothing, so that they are the same in every
// run. Making and destroying plans is the part of FFTW that threads may not share; it happens under
// one lock. Executing a plan on other arrays of the same alignment is free of locks.
//
// FFTW ends the process when it gets no memory. So it is called only where there is a reserve of
// what it may ask for.

#include "platform/vector/ComplexTransform.h"
#include "platform/vector/FFTWReserve.h"
#include "platform/vector/TransformScratch.h"

#include <fftw3.h>

#include <mutex>
#include <new>
#include <type_traits>
#include <utility>

namespace qel::platform {
namespace {

// What planning may ask for. Measured on x86-64: 470 KB for the first plan of the process, up to
// 310 KB for others of up to 2^18 points, and up to 5 bytes for each point of more.
constexpr std::size_t PlanningBytes(unsigned log2Size) {
    return (std::size_t{1} << 20) + (std::size_t{8} << log2Size);
}

// Plans for 2^19 points and more ask for buffers when they are executed; those for fewer have them
// on the stack. Measured: 34 KB for 2^19 points, 263 KB for 2^24.
constexpr unsigned kMostWithoutBuffers = 16;
constexpr std::size_t BufferBytes(unsigned log2Size) {
    return (std::size_t{1} << 17) + (std::size_t{1} << log2Size) / 4;
}

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

Plan MakePlan(unsigned log2Size, float* input, float* output) {
    const std::lock_guard guard(PlannerLock());
    const FFTWReserve reserve(PlanningBytes(log2Size));
    if (!reserve.IsThere()) {
        return nullptr;
    }
    return Plan(fftwf_plan_dft_1d(1 << log2Size, AsComplex(input), AsComplex(output), FFTW_FORWARD,
                                  FFTW_ESTIMATE | FFTW_PRESERVE_INPUT));
}

class ComplexTransformFFTW final : public ComplexTransform {
public:
    ComplexTransformFFTW(Plan plan, unsigned log2Size)
        : mPlan(std::move(plan)), mLog2Size(log2Size) {}

    void Run(const float* input, float* output) const override {
        if (mLog2Size <= kMostWithoutBuffers) {
            Execute(input, output);
            return;
        }
        const FFTWReserve reserve(BufferBytes(mLog2Size));
        if (!reserve.IsThere()) {
            throw std::bad_alloc();
        }
        Execute(input, output);
    }

private:
    void Execute(const float* input, float* output) const {
        // A plan that preserves its input only reads it.
        fftwf_execute_dft(mPlan.get(), AsComplex(const_cast<float*>(input)), AsComplex(output));
    }

    Plan mPlan;
    unsigned mLog2Size;
};

} // namespace

std::unique_ptr<ComplexTransform> ComplexTransform::Make(unsigned log2Size) {
    // Planning looks at the alignment of the arrays, not at what is in them.
    TransformScratch arrays;
    const std::size_t floats = std::size_t{2} << log2Size;
    if (!arrays.Reserve(2 * floats)) {
        return nullptr;
    }
    Plan plan = MakePlan(log2Size, arrays.Data(), arrays.Data() + floats);
    if (plan == nullptr) {
        return nullptr;
    }
    return std::unique_ptr<ComplexTransform>(new (std::nothrow)
                                                 ComplexTransformFFTW(std::move(plan), log2Size));
}

} // namespace qel::platform
