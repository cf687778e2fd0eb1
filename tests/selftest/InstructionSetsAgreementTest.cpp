// All keys end to end on every instruction set that this processor has.

#include "tests/platform/vector/InstructionSets.h"
#include "tools/selftest/SelfTest.h"

#include <gtest/gtest.h>

#include <string_view>

namespace qel::selftest {
namespace {

TEST(InstructionSetsAgreementTest, AllGiveTheSameResultsForEveryKey) {
    int sets = 0;
    testing::ForEachInstructionSet([&sets] {
        const Report report = CompareWithFrozen(Analyze(kShortSignal), kShortSignal);
        EXPECT_TRUE(report.passed) << report.text;
        ++sets;
    });
#if defined(__x86_64__)
    EXPECT_LE(2, sets) << "one instruction set proves nothing";
#endif
}

} // namespace
} // namespace qel::selftest
