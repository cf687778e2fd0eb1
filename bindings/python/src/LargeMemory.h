#pragma once

#include <cstddef>

namespace qel::python {

// Memory that grows and shrinks without a copy where it is large: its pages move. Large memory
// comes in huge pages where the system has them. To fetch as much in pages of 4096 bytes costs more
// than to write the results of an analysis into it.
class LargeMemory {
public:
    LargeMemory() = default;
    LargeMemory(LargeMemory&& other) noexcept { Swap(other); }
    LargeMemory& operator=(LargeMemory&& other) noexcept {
        Swap(other);
        return *this;
    }
    LargeMemory(const LargeMemory&) = delete;
    LargeMemory& operator=(const LargeMemory&) = delete;
    ~LargeMemory();

    void* Data() const noexcept { return mData; }
    std::size_t Bytes() const noexcept { return mBytes; }

    // At least that many bytes, 1 or more. Keeps what is in them. Throws std::bad_alloc.
    void Resize(std::size_t bytes);

private:
    static bool IsMapped(std::size_t bytes) noexcept;
    void Swap(LargeMemory& other) noexcept;
    void Move(std::size_t bytes);

    void* mData = nullptr;
    std::size_t mBytes = 0;
};

} // namespace qel::python
