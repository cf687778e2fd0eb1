#include "batch/workers/MemoryReserve.h"

#include <cstddef>
#include <cstdlib>
#include <exception>
#include <new>

namespace qel::batch {
namespace {

constexpr std::size_t kReserveBytes = std::size_t{1} << 20; // a row has some kilobytes
constexpr std::size_t kLeastBytes = std::size_t{4} << 20;   // what decoders take at once is less

void* sReserve = nullptr; // NOLINT: operator new knows no object

// While an exception is on its way, objects that are destroyed may need memory, and another
// exception would end the process. Everything else that wants memory has failed.
void GiveWay() {
    const bool had = sReserve != nullptr;
    MemoryReserve::Release();
    if (!had || std::uncaught_exceptions() == 0) {
        throw std::bad_alloc();
    }
}

} // namespace

void MemoryReserve::Take() {
    if (sReserve == nullptr) {
        sReserve = std::malloc(kReserveBytes);
    }
    if (sReserve == nullptr) {
        throw std::bad_alloc();
    }
    std::set_new_handler(GiveWay);
}

void MemoryReserve::Release() {
    std::free(sReserve);
    sReserve = nullptr;
}

bool MemoryReserve::IsMoreThere() {
    void* volatile piece = std::malloc(kLeastBytes); // volatile: the call must not be left out
    std::free(piece);
    return piece != nullptr;
}

} // namespace qel::batch
