// When memory runs out, the container wrappers leave as std::bad_alloc and do not silently lack
// what did not fit.
//
// This executable replaces the global operator new by one that can be told to fail, for the
// platform library as well.

#include "support/containers/CACFArray.h"
#include "support/containers/CACFDictionary.h"
#include "tests/platform/FailingAllocation.h"

#include <gtest/gtest.h>

#include <new>

namespace qel::core {
namespace {

using qel::testing::gAllocationsLeft;

// Calls write() with room for 0, 1, 2... allocations until it succeeds. Before that, each call must
// throw and leave isEmpty() true. Returns the number of calls that threw.
template <typename Write, typename IsEmpty>
int ThrowsBeforeSuccess(const Write& write, const IsEmpty& isEmpty) {
    for (int allocations = 0; allocations < 100; ++allocations) {
        bool written = false;
        gAllocationsLeft = allocations;
        try {
            written = write();
        } catch (const std::bad_alloc&) {
            gAllocationsLeft = -1;
            EXPECT_TRUE(isEmpty()) << allocations;
            continue;
        }
        gAllocationsLeft = -1;
        EXPECT_TRUE(written) << allocations;
        return allocations;
    }
    return -1;
}

// The number, and room for it in the container.
constexpr int kLeastAllocations = 2;

TEST(CACFOutOfMemoryTest, AnArrayTakesANumberOrThrows) {
    CACFArray array(0, true);
    const auto isEmpty = [&] { return array.GetNumberItems() == 0; };
    EXPECT_GE(ThrowsBeforeSuccess([&] { return array.AppendFloat32(2.5f); }, isEmpty),
              kLeastAllocations);
    Float32 value = 0;
    EXPECT_EQ(array.GetNumberItems(), 1u);
    EXPECT_TRUE(array.GetFloat32(0, value));
    EXPECT_EQ(value, 2.5f);
}

TEST(CACFOutOfMemoryTest, ADictionaryTakesANumberOrThrows) {
    CACFDictionary dictionary(true);
    CFStringRef const key = CFSTR("key");
    const auto isEmpty = [&] { return CFDictionaryGetCount(dictionary.GetCFDictionary()) == 0; };
    EXPECT_GE(ThrowsBeforeSuccess([&] { return dictionary.AddFloat32(key, 2.5f); }, isEmpty),
              kLeastAllocations);
    Float32 value = 0;
    EXPECT_TRUE(dictionary.GetFloat32(key, value));
    EXPECT_EQ(value, 2.5f);
}

TEST(CACFOutOfMemoryTest, AContainerIsMadeOrThrows) {
    const auto always = [] { return true; };
    EXPECT_GE(ThrowsBeforeSuccess([] { return CACFArray(0, true).IsValid(); }, always), 1);
    EXPECT_GE(ThrowsBeforeSuccess([] { return CACFDictionary(true).IsValid(); }, always), 1);
}

} // namespace
} // namespace qel::core
