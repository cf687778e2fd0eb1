#include <CarbonCore/DriverSynchronization.h>
#include <libkern/OSAtomic.h>

#include <gtest/gtest.h>

#include <limits>
#include <thread>
#include <vector>

namespace qel::testing {
namespace {

constexpr int kThreads = 4;
constexpr int kSteps = 20000;

template <class Step>
void InThreads(const Step& step) {
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&step] {
            for (int n = 0; n < kSteps; ++n) {
                step();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(AtomicsTest, OSAtomicAdd32ReturnsTheNewValue) {
    int32_t value = 5;
    EXPECT_EQ(OSAtomicAdd32(3, &value), 8);
    EXPECT_EQ(value, 8);
    EXPECT_EQ(OSAtomicAdd32(-10, &value), -2);
    EXPECT_EQ(value, -2);
}

TEST(AtomicsTest, OSAtomicAdd32WrapsAround) {
    int32_t value = std::numeric_limits<int32_t>::max();
    EXPECT_EQ(OSAtomicAdd32(1, &value), std::numeric_limits<int32_t>::min());
}

TEST(AtomicsTest, OSAtomicAdd32LosesNothingBetweenThreads) {
    int32_t value = 0;
    InThreads([&value] { OSAtomicAdd32(1, &value); });
    EXPECT_EQ(value, kThreads * kSteps);
}

TEST(AtomicsTest, CompareAndSwapStoresOnlyOverTheExpectedValue) {
    UInt32 value = 0xFFFFFFFF;
    EXPECT_FALSE(CompareAndSwap(1, 2, &value));
    EXPECT_EQ(value, 0xFFFFFFFF);
    EXPECT_TRUE(CompareAndSwap(0xFFFFFFFF, 0, &value));
    EXPECT_EQ(value, 0u);
}

TEST(AtomicsTest, CompareAndSwapLosesNothingBetweenThreads) {
    UInt32 value = 0;
    InThreads([&value] {
        UInt32 seen = 0;
        do {
            seen = __atomic_load_n(&value, __ATOMIC_RELAXED);
        } while (!CompareAndSwap(seen, seen + 1, &value));
    });
    EXPECT_EQ(value, static_cast<UInt32>(kThreads * kSteps));
}

} // namespace
} // namespace qel::testing
