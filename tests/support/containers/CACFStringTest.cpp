// The wrapper of strings.

#include "support/containers/CACFString.h"

#include <gtest/gtest.h>

namespace qel::core {
namespace {

TEST(CACFStringTest, TextMakesAString) {
    const CACFString string("text");
    EXPECT_TRUE(CFEqual(string.GetCFString(), CFSTR("text")));
    EXPECT_EQ(CFGetRetainCount(string.GetCFString()), 1);
    EXPECT_FALSE(CACFString("not ASCII: \xC3\xA4").IsValid());
    EXPECT_FALSE(CACFString(static_cast<const char*>(nullptr)).IsValid());
    EXPECT_FALSE(CACFString().IsValid());
}

TEST(CACFStringTest, AssignedStringIsTakenOverWithoutARetain) {
    CFStringRef const made = CFStringCreateWithCString(nullptr, "made", kCFStringEncodingASCII);
    CFStringRef const borrowed =
        CFStringCreateWithCString(nullptr, "other", kCFStringEncodingASCII);
    {
        CACFString string(borrowed, false);
        string = made;
        EXPECT_TRUE(string.WillRelease());
        EXPECT_EQ(CFGetRetainCount(made), 1);
        // A borrowed string is not released by the assignment.
        EXPECT_EQ(CFGetRetainCount(borrowed), 1);
        CFRetain(made);
    }
    EXPECT_EQ(CFGetRetainCount(made), 1);
    CFRelease(made);
    CFRelease(borrowed);
}

TEST(CACFStringTest, AssignmentReleasesTheOldStringIfItIsOwned) {
    CACFString string("old text");
    CFStringRef const old = string.GetCFString();
    CFRetain(old);
    string = CFStringCreateWithCString(nullptr, "new text", kCFStringEncodingASCII);
    EXPECT_EQ(CFGetRetainCount(old), 1);
    EXPECT_TRUE(CFEqual(string.GetCFString(), CFSTR("new text")));
    EXPECT_EQ(CFGetRetainCount(string.GetCFString()), 1);
    CFRelease(old);
}

TEST(CACFStringTest, CopyAndOriginalEachHoldAReference) {
    CACFString copy;
    {
        const CACFString original("text");
        copy = original;
        EXPECT_EQ(CFGetRetainCount(copy.GetCFString()), 2);
    }
    EXPECT_EQ(CFGetRetainCount(copy.GetCFString()), 1);
}

TEST(CACFStringTest, RetainAndReleaseActOnlyWithTheFlag) {
    const CACFString owner("text");
    const CACFString borrower(owner.GetCFString(), false);
    borrower.Retain();
    EXPECT_EQ(CFGetRetainCount(owner.GetCFString()), 1);
    owner.Retain();
    EXPECT_EQ(CFGetRetainCount(owner.GetCFString()), 2);
    borrower.Release();
    EXPECT_EQ(CFGetRetainCount(owner.GetCFString()), 2);
    owner.Release();
    EXPECT_EQ(CFGetRetainCount(owner.GetCFString()), 1);
    const CACFString none;
    none.Retain();
    none.Release();
    EXPECT_EQ(none.AsPropertyList(), nullptr);
}

} // namespace
} // namespace qel::core
