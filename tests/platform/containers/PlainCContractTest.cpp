#include "PlainCUse.h"

#include <gtest/gtest.h>

namespace {

TEST(PlainCContractTest, ContainersWorkFromPlainC) {
    EXPECT_EQ(UseContainersFromC(), 0);
}

} // namespace
