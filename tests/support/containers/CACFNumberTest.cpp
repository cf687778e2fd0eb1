// The wrappers of numbers and booleans.

#include "support/containers/CACFNumber.h"

#include <gtest/gtest.h>

namespace qel::core {
namespace {

TEST(CACFNumberTest, NumberHasTheTypeOfItsValueAndOneReference) {
    const CACFNumber float32(1.5f);
    EXPECT_EQ(CFNumberGetType(float32.GetCFNumber()), 5);
    EXPECT_EQ(CFGetRetainCount(float32.GetCFNumber()), 1);
    EXPECT_TRUE(float32.WillRelease());
    EXPECT_EQ(CFNumberGetType(CACFNumber(1.5).GetCFNumber()), 6);
    EXPECT_EQ(CFNumberGetType(CACFNumber(SInt32{1}).GetCFNumber()), kCFNumberSInt32Type);
    EXPECT_EQ(CFNumberGetType(CACFNumber(SInt64{1}).GetCFNumber()), kCFNumberSInt64Type);
}

TEST(CACFNumberTest, CopyOutlivesTheOriginal) {
    CACFNumber outer(0.0f);
    {
        const CACFNumber original(2.5f);
        outer = original;
        EXPECT_EQ(CFGetRetainCount(original.GetCFNumber()), 2);
    }
    float value = 0;
    EXPECT_TRUE(CFNumberGetValue(outer.GetCFNumber(), kCFNumberFloat32Type, &value));
    EXPECT_EQ(value, 2.5f);
    EXPECT_EQ(CFGetRetainCount(outer.GetCFNumber()), 1);
}

TEST(CACFBooleanTest, BooleansAreTheConstants) {
    EXPECT_EQ(CACFBoolean(true).GetCFBoolean(), kCFBooleanTrue);
    EXPECT_EQ(CACFBoolean(false).GetCFBoolean(), kCFBooleanFalse);
    EXPECT_EQ(CACFBoolean(true).AsPropertyList(), kCFBooleanTrue);
}

} // namespace
} // namespace qel::core
