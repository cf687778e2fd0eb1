#include "platform/vector/TransformScratch.h"

#include "platform/vector/ComplexTransform.h"

#include <new>

namespace qel::platform {

namespace {

constexpr std::align_val_t kAlignment{kTransformAlignment};

} // namespace

void TransformScratch::Free::operator()(float* data) const {
    ::operator delete(data, kAlignment);
}

bool TransformScratch::Reserve(std::size_t floats) {
    if (floats <= mFloats) {
        return true;
    }
    void* memory = ::operator new(floats * sizeof(float), kAlignment, std::nothrow);
    if (memory == nullptr) {
        return false;
    }
    mData.reset(static_cast<float*>(memory));
    mFloats = floats;
    return true;
}

float* TransformScratch::OfThisThread(std::size_t floats) {
    thread_local TransformScratch scratch;
    if (!scratch.Reserve(floats)) {
        throw std::bad_alloc();
    }
    return scratch.Data();
}

} // namespace qel::platform
