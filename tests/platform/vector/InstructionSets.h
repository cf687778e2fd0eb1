// Runs a test on every instruction set that the vector functions were compiled for and that this
// processor has, not only on its best.
#pragma once

#include <gtest/gtest.h>
#include <hwy/highway.h>

#include <cstddef>
#include <cstdint>
#include <set>
#include <vector>

namespace qel::testing {

// Calls test() once for each of them, with the vector functions held to it, in all threads. The
// test must call one of them.
template <class Test>
void ForEachInstructionSet(const Test& test) {
    struct Reset {
        ~Reset() { hwy::SetSupportedTargetsForTest(0); }
    } reset;
    const std::vector<int64_t> targets = hwy::SupportedAndGeneratedTargets();
    std::set<std::size_t> used;
    for (const int64_t target : targets) {
        SCOPED_TRACE(hwy::TargetName(target));
        hwy::SetSupportedTargetsForTest(target);
        ASSERT_FALSE(hwy::GetChosenTarget().IsInitialized());
        test();
        // The library has chosen anew, and another one than before.
        ASSERT_TRUE(hwy::GetChosenTarget().IsInitialized());
        ASSERT_TRUE(used.insert(hwy::GetChosenTarget().GetIndex()).second);
    }
}

} // namespace qel::testing
