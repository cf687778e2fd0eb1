#include "PlainCUse.h"

#include <gtest/gtest.h>

namespace {

TEST(PlainCTest, ContainersWorkFromPlainC) {
    EXPECT_EQ(UseContainersFromC(), 0);
}

} // namespace
