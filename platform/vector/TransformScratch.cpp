#include "platform/vector/TransformScratch.h"

#include "platform/vector/ComplexTransform.h"

#include <memory>
#include <new>
#include <pthread.h>

namespace qel::platform {

namespace {

constexpr std::align_val_t kAlignment{kTransformAlignment};

// What one thread keeps. It hangs on a key of thread-specific data: for a thread_local with a
// destructor the C library wants memory when a thread first comes to it, and ends the process if
// there is none.
struct ThreadScratches {
    TransformScratch scratches[2]; // by TransformScratch::Use

    static ThreadScratches& OfThisThread() {
        static const pthread_key_t key = MakeKey();
        if (void* const own = pthread_getspecific(key)) {
            return *static_cast<ThreadScratches*>(own);
        }
        auto made = std::make_unique<ThreadScratches>();
        if (pthread_setspecific(key, made.get()) != 0) {
            throw std::bad_alloc();
        }
        return *made.release();
    }

private:
    static pthread_key_t MakeKey() {
        pthread_key_t key = 0;
        if (pthread_key_create(&key, Destroy) != 0) {
            throw std::bad_alloc();
        }
        return key;
    }

    static void Destroy(void* own) { delete static_cast<ThreadScratches*>(own); }
};

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

float* TransformScratch::OfThisThread(Use use, std::size_t floats) {
    TransformScratch& scratch =
        ThreadScratches::OfThisThread().scratches[static_cast<std::size_t>(use)];
    if (!scratch.Reserve(floats)) {
        throw std::bad_alloc();
    }
    return scratch.Data();
}

} // namespace qel::platform
