#include "bindings/python/src/LargeMemory.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <sys/mman.h>
#include <utility>

namespace qel::python {
namespace {

constexpr std::size_t kPage = 4096;
constexpr std::size_t kHugePage = std::size_t{2} << 20;

std::size_t RoundedUp(std::size_t bytes, std::size_t unit) noexcept {
    return (bytes + unit - 1) / unit * unit;
}

void* Mapped(std::size_t bytes) noexcept {
    void* data = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return data == MAP_FAILED ? nullptr : data;
}

void* Remapped(void* data, std::size_t from, std::size_t to) noexcept {
    void* moved = mremap(data, from, to, MREMAP_MAYMOVE);
    return moved == MAP_FAILED ? nullptr : moved;
}

} // namespace

LargeMemory::~LargeMemory() {
    if (IsMapped(mBytes)) {
        munmap(mData, mBytes);
    } else {
        std::free(mData);
    }
}

bool LargeMemory::IsMapped(std::size_t bytes) noexcept {
    return bytes >= kHugePage;
}

void LargeMemory::Swap(LargeMemory& other) noexcept {
    std::swap(mData, other.mData);
    std::swap(mBytes, other.mBytes);
}

// Between the two kinds.
void LargeMemory::Move(std::size_t bytes) {
    LargeMemory moved;
    moved.mData = IsMapped(bytes) ? Mapped(bytes) : std::malloc(bytes);
    if (!moved.mData) {
        throw std::bad_alloc();
    }
    moved.mBytes = bytes;
    if (mData) {
        std::memcpy(moved.mData, mData, std::min(mBytes, bytes));
    }
    Swap(moved);
}

void LargeMemory::Resize(std::size_t bytes) {
    const bool isGrowing = bytes > mBytes;
    if (IsMapped(bytes)) {
        bytes = RoundedUp(bytes, isGrowing ? kHugePage : kPage);
    }
    if (IsMapped(bytes) != IsMapped(mBytes)) {
        Move(bytes);
    } else {
        void* const data =
            IsMapped(bytes) ? Remapped(mData, mBytes, bytes) : std::realloc(mData, bytes);
        if (!data) {
            throw std::bad_alloc();
        }
        mData = data;
        mBytes = bytes;
    }
    if (isGrowing && IsMapped(bytes)) {
        madvise(mData, mBytes, MADV_HUGEPAGE); // is but a hint
    }
}

} // namespace qel::python
