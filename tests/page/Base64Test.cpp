#include "page/Base64.h"

#include <gtest/gtest.h>

namespace qel::page {
namespace {

// The test vectors of RFC 4648.
TEST(Base64Test, CodesTheVectorsOfItsStandard) {
    EXPECT_EQ(Base64(""), "");
    EXPECT_EQ(Base64("f"), "Zg==");
    EXPECT_EQ(Base64("fo"), "Zm8=");
    EXPECT_EQ(Base64("foo"), "Zm9v");
    EXPECT_EQ(Base64("foob"), "Zm9vYg==");
    EXPECT_EQ(Base64("fooba"), "Zm9vYmE=");
    EXPECT_EQ(Base64("foobar"), "Zm9vYmFy");
}

TEST(Base64Test, BytesAbove127AreNotNegative) {
    EXPECT_EQ(Base64("\xFF\xFE\xFD"), "//79");
}

} // namespace
} // namespace qel::page
