#pragma once

#include "bindings/python/src/LargeMemory.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <span>
#include <type_traits>
#include <utility>

namespace qel::python {

// A growing array of numbers.
template <class Value>
class NumberArray {
    static_assert(std::is_trivially_copyable_v<Value>);

public:
    NumberArray() = default;
    NumberArray(NumberArray&& other) noexcept
        : mMemory(std::move(other.mMemory)), mSize(std::exchange(other.mSize, 0)) {}
    NumberArray& operator=(NumberArray&& other) noexcept {
        mMemory = std::move(other.mMemory);
        std::swap(mSize, other.mSize);
        return *this;
    }
    NumberArray(const NumberArray&) = delete;
    NumberArray& operator=(const NumberArray&) = delete;
    ~NumberArray() = default;

    std::size_t Size() const noexcept { return mSize; }
    Value* Data() const noexcept { return static_cast<Value*>(mMemory.Data()); }
    std::span<const Value> All() const noexcept { return {Data(), mSize}; }

    void Reserve(std::size_t capacity) {
        if (capacity > Capacity()) {
            mMemory.Resize(capacity * sizeof(Value));
        }
    }

    // Gives a large reserve back, and has memory also for no values.
    void Fit() {
        constexpr std::size_t kKept = 4096;
        if (Capacity() == 0 || Capacity() > mSize + mSize / 4 + kKept) {
            mMemory.Resize(std::max<std::size_t>(mSize, 1) * sizeof(Value));
        }
    }

    // More values at the end, to be written.
    std::span<Value> Extend(std::size_t count) {
        Grow(count);
        mSize += count;
        return {Data() + mSize - count, count};
    }

    void Append(std::span<const Value> values) {
        const std::span<Value> end = Extend(values.size());
        if (!values.empty()) {
            std::memcpy(end.data(), values.data(), values.size_bytes());
        }
    }

    void Append(Value value) { Extend(1).front() = value; }

    void Clear() noexcept { mSize = 0; }

private:
    std::size_t Capacity() const noexcept { return mMemory.Bytes() / sizeof(Value); }

    void Grow(std::size_t more) {
        if (more > Capacity() - mSize) {
            mMemory.Resize(std::max(mSize + more, 2 * Capacity()) * sizeof(Value));
        }
    }

    LargeMemory mMemory;
    std::size_t mSize = 0;
};

} // namespace qel::python
