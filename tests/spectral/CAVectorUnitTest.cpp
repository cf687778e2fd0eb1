#include "spectral/CAVectorUnit.h"

#include <gtest/gtest.h>

namespace qel::core {
namespace {

TEST(CAVectorUnitTest, CheckFindsWhatTheCompilerKnowsAndKeepsIt) {
#if defined(__x86_64__) || defined(__i386__)
    const bool hasSSE2 = __builtin_cpu_supports("sse2") != 0;
    const bool hasSSE3 = __builtin_cpu_supports("sse3") != 0;
    const SInt32 expected = hasSSE3 ? 101 : (hasSSE2 ? 100 : 0);
#else
    const SInt32 expected = 0;
#endif
    CAVectorUnit::sVectorUnitType = -1;
    EXPECT_EQ(CAVectorUnit::CheckVectorUnit(), expected);
    EXPECT_EQ(CAVectorUnit::sVectorUnitType, expected);
}

} // namespace
} // namespace qel::core
