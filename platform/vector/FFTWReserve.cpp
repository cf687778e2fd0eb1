#include "platform/vector/FFTWReserve.h"

#include <atomic>
#include <cstdlib>
#include <new>
#include <pthread.h>

namespace qel::platform {

namespace {

// Of every block, as FFTW's vectors want it.
constexpr std::size_t kAlignment = 64;

constexpr std::size_t RoundUp(std::size_t bytes) {
    return (bytes + kAlignment - 1) / kAlignment * kAlignment;
}

void* TakeOfSystem(std::size_t bytes) {
    return std::aligned_alloc(kAlignment, RoundUp(bytes));
}

// The key under which a thread has the store of its reserve. It is not a thread_local: where a
// library is loaded late, the C library ends the process if it gets no memory for one.
class StoreKey {
public:
    StoreKey() : mIsMade(pthread_key_create(&mKey, nullptr) == 0) {}
    bool Set(void* store) const { return mIsMade && pthread_setspecific(mKey, store) == 0; }
    void* Get() const { return mIsMade ? pthread_getspecific(mKey) : nullptr; }

    static const StoreKey& Instance() {
        static const StoreKey key;
        return key;
    }

private:
    pthread_key_t mKey = 0;
    bool mIsMade;
};

} // namespace

// Stands at the front of its own memory.
struct alignas(kAlignment) FFTWReserve::Store {
    std::size_t bytes; // after the store
    std::size_t used = 0;
    std::size_t blocks = 0; // that FFTW has
    Store* nextKept = nullptr;

    char* Memory() { return reinterpret_cast<char*>(this + 1); }
    bool Has(const void* block) {
        const auto* const at = static_cast<const char*>(block);
        return at >= Memory() && at < Memory() + bytes;
    }

    static Store* OfThisThread() { return static_cast<Store*>(StoreKey::Instance().Get()); }

    // Stores of which FFTW has something for good. The list only grows.
    static constinit std::atomic<Store*> kept;

    void Keep() {
        nextKept = kept.load(std::memory_order_relaxed);
        while (!kept.compare_exchange_weak(nextKept, this, std::memory_order_release,
                                           std::memory_order_relaxed)) {
        }
    }
    static bool IsKept(const void* block) {
        Store* store = kept.load(std::memory_order_acquire);
        while (store != nullptr && !store->Has(block)) {
            store = store->nextKept;
        }
        return store != nullptr;
    }
};

constinit std::atomic<FFTWReserve::Store*> FFTWReserve::Store::kept = nullptr;

FFTWReserve::FFTWReserve(std::size_t bytes) {
    void* const memory = TakeOfSystem(sizeof(Store) + RoundUp(bytes));
    if (memory == nullptr) {
        return;
    }
    auto* const store = new (memory) Store{.bytes = RoundUp(bytes)};
    if (!StoreKey::Instance().Set(store)) {
        std::free(memory);
        return;
    }
    mStore = store;
}

FFTWReserve::~FFTWReserve() {
    if (mStore == nullptr) {
        return;
    }
    StoreKey::Instance().Set(nullptr);
    if (mStore->blocks == 0) {
        std::free(mStore);
    } else {
        mStore->Keep();
    }
}

void* FFTWReserve::Take(std::size_t bytes) {
    if (void* const memory = TakeOfSystem(bytes)) {
        return memory;
    }
    Store* const store = Store::OfThisThread();
    if (store == nullptr || RoundUp(bytes) > store->bytes - store->used) {
        return nullptr;
    }
    void* const block = store->Memory() + store->used;
    store->used += RoundUp(bytes);
    ++store->blocks;
    return block;
}

void FFTWReserve::GiveBack(void* memory) {
    Store* const store = Store::OfThisThread();
    if (store != nullptr && store->Has(memory)) {
        if (--store->blocks == 0) {
            store->used = 0;
        }
    } else if (!Store::IsKept(memory)) {
        std::free(memory);
    }
}

} // namespace qel::platform

// FFTW's own names.
extern "C" {

void* fftwf_kernel_malloc(std::size_t bytes);
void fftwf_kernel_free(void* memory);

void* fftwf_kernel_malloc(std::size_t bytes) {
    return qel::platform::FFTWReserve::Take(bytes);
}

void fftwf_kernel_free(void* memory) {
    qel::platform::FFTWReserve::GiveBack(memory);
}

} // extern "C"
