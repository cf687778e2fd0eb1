#pragma once

#include <concepts>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>
#include <utility>

namespace qel::core {

// Scoped owners of one pointer, told apart by where the pointer came from: CAAutoFree from the
// malloc family, CAAutoDelete from new, CAAutoArrayDelete from new[]. All three share one manner:
//
//   - destruction, free(), and assignment give back what is held; free() also clears the pointer;
//   - assigning the pointer that is already held does nothing;
//   - release() hands the pointer to the caller, who gives it back;
//   - forget() clears the pointer and gives nothing back: nothing is held any more, or somebody
//     else has it;
//   - they convert to the bare pointer, which stays theirs;
//   - copying is deleted, moving passes the pointer on.
//
// One thread at a time.

namespace detail {

struct FreeDisposer {
    void operator()(void* pointer) const { std::free(pointer); }
};

struct DeleteDisposer {
    template <class T>
    void operator()(T* pointer) const {
        delete pointer;
    }
};

struct ArrayDeleteDisposer {
    template <class T>
    void operator()(T* pointer) const {
        delete[] pointer;
    }
};

template <class T, class Disposer>
class AutoDisposer {
public:
    AutoDisposer() = default;
    explicit AutoDisposer(T* pointer) : mPointer(pointer) {}
    AutoDisposer(AutoDisposer&& other) noexcept : mPointer(other.release()) {}
    AutoDisposer(const AutoDisposer&) = delete;
    AutoDisposer& operator=(const AutoDisposer&) = delete;
    AutoDisposer& operator=(AutoDisposer&& other) noexcept {
        set(other.release());
        return *this;
    }
    ~AutoDisposer() { free(); }

    void set(T* pointer) {
        if (pointer != mPointer) {
            Disposer{}(std::exchange(mPointer, pointer));
        }
    }
    void free() { Disposer{}(std::exchange(mPointer, nullptr)); }
    [[nodiscard]] T* release() { return std::exchange(mPointer, nullptr); }
    void forget() { mPointer = nullptr; }

    T* get() const { return mPointer; }
    T* operator->() const { return mPointer; }
    // NOLINTNEXTLINE(google-explicit-constructor): used wherever the bare pointer is expected.
    operator T*() const& { return mPointer; }
    // A temporary owner destroys the object at the end of the statement: nobody may keep its
    // pointer.
    operator T*() const&& = delete;

private:
    T* mPointer = nullptr;
};

} // namespace detail

// Owner of memory from the malloc family, for element types without constructors.
template <class T>
class CAAutoFree : public detail::AutoDisposer<T, detail::FreeDisposer> {
    static_assert(std::is_trivially_destructible_v<T>, "nobody would run the destructors");
    using Base = detail::AutoDisposer<T, detail::FreeDisposer>;

public:
    using Base::Base;
    CAAutoFree() = default;

    // Allocates at once: see alloc.
    explicit CAAutoFree(std::size_t count, bool clear) { alloc(count, clear); }

    CAAutoFree& operator=(T* pointer) {
        this->set(pointer);
        return *this;
    }

    // Frees what is held and allocates `count` elements, zeroed if `clear` is set. A count of 0
    // gives a pointer that may be freed and not read. Raises std::bad_alloc, holding nothing, if
    // the size does not fit std::size_t or memory is exhausted.
    void alloc(std::size_t count, bool clear) {
        this->free();
        if (count > std::numeric_limits<std::size_t>::max() / sizeof(T)) {
            throw std::bad_alloc();
        }
        allocBytes(count * sizeof(T), clear);
    }

    // alloc for records with a variable tail: `bytes` is the size of all of it.
    void allocBytes(std::size_t bytes, bool clear) {
        this->free();
        void* const memory = bytes > kLargeBytes && clear ? std::calloc(bytes, 1) : Aligned(bytes);
        if (memory == nullptr) {
            throw std::bad_alloc();
        }
        if (clear && bytes <= kLargeBytes) {
            std::memset(memory, 0, bytes);
        }
        this->set(static_cast<T*>(memory));
    }

private:
    // Vectors start at a cache line, so that no vector load straddles two; only large cleared ones
    // start where the system puts them.
    static constexpr std::size_t kAlignment = 64;
    // Above this, zeroed memory comes from the system as it is touched instead of being written.
    static constexpr std::size_t kLargeBytes = std::size_t{1} << 20;

    static void* Aligned(std::size_t bytes) {
        void* memory = nullptr;
        return posix_memalign(&memory, kAlignment, bytes > 0 ? bytes : 1) == 0 ? memory : nullptr;
    }
};

// Owner of one object from new.
template <class T>
class CAAutoDelete : public detail::AutoDisposer<T, detail::DeleteDisposer> {
    using Base = detail::AutoDisposer<T, detail::DeleteDisposer>;

public:
    using Base::Base;
    CAAutoDelete() = default;

    CAAutoDelete& operator=(T* pointer) {
        this->set(pointer);
        return *this;
    }

    // Takes an object of a derived class over.
    template <std::derived_from<T> Derived>
    CAAutoDelete& operator=(CAAutoDelete<Derived>&& other) {
        this->set(other.release());
        return *this;
    }
};

// Owner of an array from new[].
template <class T>
class CAAutoArrayDelete : public detail::AutoDisposer<T, detail::ArrayDeleteDisposer> {
    using Base = detail::AutoDisposer<T, detail::ArrayDeleteDisposer>;

public:
    using Base::Base;
    CAAutoArrayDelete() = default;

    CAAutoArrayDelete& operator=(T* pointer) {
        this->set(pointer);
        return *this;
    }

    // Frees what is held and makes `count` value-initialized elements. Raises std::bad_alloc,
    // holding nothing, if the size does not fit std::size_t or memory is exhausted.
    void alloc(std::size_t count) {
        this->free();
        // The largest object there can be, so that bytes and bookkeeping fit as well.
        if (count >
            static_cast<std::size_t>(std::numeric_limits<std::ptrdiff_t>::max()) / sizeof(T)) {
            throw std::bad_alloc();
        }
        this->set(new T[count]());
    }
};

} // namespace qel::core
