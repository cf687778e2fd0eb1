// A channel that could not be added leaves nothing behind that a later one would share.

#include "support/audio/SRCFilter.h"
#include "tests/platform/FailingAllocation.h"

#include <gtest/gtest.h>

#include <new>

namespace qel::core {
namespace {

using Parameters = KaiserBesselFilterParameters;

// Adds a channel while the allocation after the next `count` ones fails. Whether it did.
bool FailsToAdd(SRCFilter& filter, const Parameters& parameters, int count) {
    qel::testing::gAllocationsLeft = count;
    qel::testing::gOnlyOneFails = true;
    bool failed = false;
    try {
        filter.AddChannel(parameters);
    } catch (const std::bad_alloc&) {
        failed = true;
    }
    qel::testing::gAllocationsLeft = -1;
    qel::testing::gOnlyOneFails = false;
    return failed;
}

TEST(SRCFilterOutOfMemoryTest, ADesignIsWholeAfterOthersOfOtherLengthsFailed) {
    const Parameters longer(0.3, 60.0, 9u, 0u);
    const Parameters shorter(0.3, 60.0, 3u, 0u);
    SRCFilter fresh(1, 2, 3, longer);
    for (int first = 0;; ++first) {
        for (int second = 0;; ++second) {
            SRCFilter filter(2, 3);
            if (!FailsToAdd(filter, longer, first)) {
                EXPECT_GT(first, 0);
                return;
            }
            if (!FailsToAdd(filter, shorter, second)) {
                EXPECT_GT(second, 0);
                break;
            }
            EXPECT_EQ(filter.ChannelCount(), 0u);
            ASSERT_EQ(filter.AddChannel(longer), SRCFilter::kSRCOK);
            for (UInt32 phase = 0; phase < 3; ++phase) {
                for (UInt32 n = 0; n < longer.filterLength; ++n) {
                    EXPECT_EQ(filter.Branch(0, phase)[n], fresh.Branch(0, phase)[n])
                        << "allocations " << first << " and " << second << ", phase " << phase
                        << ", tap " << n;
                }
            }
        }
    }
}

} // namespace
} // namespace qel::core
