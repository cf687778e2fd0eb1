#include "support/runtime/CAAutoDisposer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <utility>

namespace qel::core {
namespace {

// Counts how many of it live.
struct Counted {
    Counted() { ++sAlive; }
    ~Counted() { --sAlive; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;
    static inline int sAlive = 0;
};

static_assert(!std::is_copy_constructible_v<CAAutoFree<float>>);
static_assert(!std::is_copy_assignable_v<CAAutoFree<float>>);
static_assert(!std::is_copy_constructible_v<CAAutoDelete<Counted>>);
static_assert(!std::is_copy_constructible_v<CAAutoArrayDelete<Counted>>);
static_assert(std::is_convertible_v<CAAutoDelete<Counted>&, Counted*>);
// The pointer of a temporary owner would be left without its object.
static_assert(!std::is_convertible_v<CAAutoDelete<Counted>, Counted*>);

TEST(CAAutoFreeTest, StartsWithoutMemory) {
    const CAAutoFree<float> empty;
    EXPECT_EQ(empty.get(), nullptr);
}

TEST(CAAutoFreeTest, ClearedMemoryIsZeroBelowAndAboveTheSizeThatComesFromTheSystem) {
    for (const std::size_t count : {std::size_t{1000}, std::size_t{1} << 20}) {
        CAAutoFree<float> memory(count, true);
        EXPECT_TRUE(std::all_of(memory.get(), memory + count, [](float v) { return v == 0.0f; }));
        memory[count - 1] = 1.0f;
    }
}

TEST(CAAutoFreeTest, VectorsStartAtACacheLine) {
    const CAAutoFree<float> memory(3, false);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(memory.get()) % 64, 0u);
}

TEST(CAAutoFreeTest, CountOfZeroGivesAPointer) {
    const CAAutoFree<float> memory(0, true);
    EXPECT_NE(memory.get(), nullptr);
}

TEST(CAAutoFreeTest, CountBeyondTheSizeTypeRaisesBadAllocAndHoldsNothing) {
    CAAutoFree<double> memory(4, true);
    // Times 8 this wraps to 8 bytes.
    constexpr std::size_t kWrapping = std::numeric_limits<std::size_t>::max() / 8 + 2;
    EXPECT_THROW(memory.alloc(kWrapping, true), std::bad_alloc);
    EXPECT_EQ(memory.get(), nullptr);
}

// The address sanitizer ends the process instead of letting an allocation fail.
#if defined(__SANITIZE_ADDRESS__)
#define QEL_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QEL_ADDRESS_SANITIZER 1
#endif
#endif
#ifndef QEL_ADDRESS_SANITIZER
TEST(CAAutoFreeTest, FailedAllocationRaisesBadAlloc) {
    CAAutoFree<char> memory;
    // Half of the address space; no system has it.
    volatile std::size_t tooMany = std::numeric_limits<std::size_t>::max() / 2;
    EXPECT_THROW(memory.alloc(tooMany, true), std::bad_alloc);
    EXPECT_THROW(memory.alloc(tooMany, false), std::bad_alloc);
    EXPECT_EQ(memory.get(), nullptr);
}
#endif

TEST(CAAutoFreeTest, FreeClearsThePointer) {
    CAAutoFree<int> memory(10, true);
    memory.free();
    EXPECT_EQ(memory.get(), nullptr);
    memory.free();
    EXPECT_EQ(memory.get(), nullptr);
}

TEST(CAAutoFreeTest, AssignmentFreesWhatWasHeldAndMovePassesOn) {
    CAAutoFree<int> first(10, true);
    first = static_cast<int*>(std::malloc(sizeof(int)));
    int* const held = first;
    first = held; // the same pointer again: nothing happens
    *first = 7;
    CAAutoFree<int> second(std::move(first));
    EXPECT_EQ(second.get(), held);
    EXPECT_EQ(*second, 7);
    CAAutoFree<int> third(5, false);
    third = std::move(second);
    EXPECT_EQ(third.get(), held);
    EXPECT_EQ(second.get(), nullptr);
}

TEST(CAAutoFreeTest, ReleaseHandsThePointerOver) {
    CAAutoFree<int> memory(1, true);
    const std::unique_ptr<int, decltype(&std::free)> taken(memory.release(), &std::free);
    EXPECT_EQ(memory.get(), nullptr);
    EXPECT_EQ(*taken, 0);
}

TEST(CAAutoFreeTest, ForgettingClearsThePointerAndFreesNothing) {
    CAAutoFree<int> memory(4, true);
    const std::unique_ptr<int, decltype(&std::free)> other(memory, &std::free);
    memory.forget();
    EXPECT_EQ(memory.get(), nullptr);
    EXPECT_EQ(other.get()[3], 0);
}

TEST(CAAutoFreeTest, BytesMakeRoomForATail) {
    struct Record {
        int mCount;
        int mTail[1];
    };
    CAAutoFree<Record> record;
    record.allocBytes(sizeof(Record) + 3 * sizeof(int), true);
    record->mCount = 4;
    int* const tail = record->mTail;
    tail[3] = 9; // the address sanitizer watches this
    EXPECT_EQ(tail[3], 9);
    EXPECT_EQ(tail[2], 0);
}

TEST(CAAutoDeleteTest, EveryObjectIsDestroyedOnce) {
    {
        CAAutoDelete<Counted> first(new Counted);
        first = new Counted;
        EXPECT_EQ(Counted::sAlive, 1);
        CAAutoDelete<Counted> second(std::move(first));
        EXPECT_EQ(Counted::sAlive, 1);
        second.free();
        EXPECT_EQ(Counted::sAlive, 0);
        second = new Counted;
    }
    EXPECT_EQ(Counted::sAlive, 0);
}

TEST(CAAutoDeleteTest, AnOwnerOfADerivedObjectHandsItOver) {
    struct Base {
        Base() = default;
        Base(const Base&) = delete;
        Base& operator=(const Base&) = delete;
        virtual ~Base() = default;
    };
    struct Derived final : Base {
        Counted counted;
    };
    const auto make = [] { return CAAutoDelete<Derived>(new Derived); };
    {
        CAAutoDelete<Base> owner(new Base);
        owner = make();
        EXPECT_NE(owner.get(), nullptr);
        EXPECT_EQ(Counted::sAlive, 1);
    }
    EXPECT_EQ(Counted::sAlive, 0);
}

TEST(CAAutoArrayDeleteTest, ElementsAreMadeAndDestroyed) {
    {
        CAAutoArrayDelete<Counted> elements;
        elements.alloc(5);
        EXPECT_EQ(Counted::sAlive, 5);
        elements.alloc(2);
        EXPECT_EQ(Counted::sAlive, 2);
        elements = new Counted[3];
        EXPECT_EQ(Counted::sAlive, 3);
    }
    EXPECT_EQ(Counted::sAlive, 0);
}

TEST(CAAutoArrayDeleteTest, ElementsAreValueInitializedAndTooManyRaiseBadAlloc) {
    CAAutoArrayDelete<double> elements;
    elements.alloc(8);
    EXPECT_TRUE(std::all_of(elements.get(), elements + 8, [](double v) { return v == 0.0; }));
    volatile std::size_t tooMany = std::numeric_limits<std::size_t>::max() / 8 + 2;
    EXPECT_THROW(elements.alloc(tooMany), std::bad_alloc);
    EXPECT_EQ(elements.get(), nullptr);
}

} // namespace
} // namespace qel::core
