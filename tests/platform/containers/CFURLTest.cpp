#include "ContainerObjects.h"

#include <gtest/gtest.h>

namespace qel::platform {
namespace {

CFOwner<CFURLRef> MakeURL(const char* text, CFURLRef base) {
    return CFOwner(CFURLCreateWithString(kCFAllocatorDefault, MakeString(text), base));
}

TEST(CFURLTest, GivesBackItsTextAndItsBase) {
    const auto base = MakeURL("file:///music/", nullptr);
    const auto url = MakeURL("song.wav", base);
    EXPECT_EQ(ToText(CFURLGetString(url)), "song.wav");
    EXPECT_EQ(CFURLGetBaseURL(url), static_cast<CFURLRef>(base));
    EXPECT_EQ(CFURLGetBaseURL(base), nullptr);
    EXPECT_EQ(CFGetTypeID(url), CFURLGetTypeID());
}

TEST(CFURLTest, KeepsItsPartsAlive) {
    const auto text = MakeString("song.wav");
    const auto base = MakeURL("file:///music/", nullptr);
    {
        const CFOwner url(CFURLCreateWithString(nullptr, text, base));
        EXPECT_EQ(CFGetRetainCount(text), 2);
        EXPECT_EQ(CFGetRetainCount(base), 2);
    }
    EXPECT_EQ(CFGetRetainCount(text), 1);
    EXPECT_EQ(CFGetRetainCount(base), 1);
}

TEST(CFURLTest, TextAndBaseDecideEquality) {
    const auto base = MakeURL("file:///music/", nullptr);
    const auto sameBase = MakeURL("file:///music/", nullptr);
    EXPECT_TRUE(CFEqual(MakeURL("a", base), MakeURL("a", sameBase)));
    EXPECT_EQ(CFHash(MakeURL("a", base)), CFHash(MakeURL("a", sameBase)));
    EXPECT_FALSE(CFEqual(MakeURL("a", base), MakeURL("a", nullptr)));
    EXPECT_FALSE(CFEqual(MakeURL("a", base), MakeURL("b", base)));
}

TEST(CFURLTest, ImpossibleArgumentsGiveNothing) {
    EXPECT_EQ(CFURLCreateWithString(nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(CFURLCreateWithString(nullptr, CFSTR(""), nullptr), nullptr);
    const CFTypeRef noURL = kCFNull;
    EXPECT_EQ(CFURLCreateWithString(nullptr, CFSTR("a"), static_cast<CFURLRef>(noURL)), nullptr);
    EXPECT_EQ(CFURLGetString(nullptr), nullptr);
    EXPECT_EQ(CFURLGetBaseURL(nullptr), nullptr);
}

} // namespace
} // namespace qel::platform
