#include "ContainerObjects.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

namespace qel::platform {
namespace {

constexpr std::array<UInt8, 4> kBytes = {0, 255, 0, 7};

CFOwner<CFDataRef> MakeData(CFIndex count) {
    return CFOwner(CFDataCreate(kCFAllocatorDefault, kBytes.data(), count));
}

TEST(CFDataTest, KeepsACopyOfTheBytes) {
    auto bytes = kBytes;
    const CFOwner data(CFDataCreate(nullptr, bytes.data(), 4));
    bytes.fill(9);
    ASSERT_EQ(CFDataGetLength(data), 4);
    const UInt8* kept = CFDataGetBytePtr(data);
    EXPECT_TRUE(std::equal(kBytes.begin(), kBytes.end(), kept));
}

TEST(CFDataTest, GetBytesWritesAWholeRangeOrNothing) {
    const auto data = MakeData(4);
    std::array<UInt8, 3> buffer = {1, 1, 1};
    for (const CFRange range :
         {CFRangeMake(2, 3), CFRangeMake(-1, 2), CFRangeMake(5, 0), CFRangeMake(0, -1)}) {
        CFDataGetBytes(data, range, buffer.data());
        EXPECT_EQ(buffer, (std::array<UInt8, 3>{1, 1, 1}));
    }
    CFDataGetBytes(data, CFRangeMake(1, 2), buffer.data());
    EXPECT_EQ(buffer, (std::array<UInt8, 3>{255, 0, 1}));
}

TEST(CFDataTest, EqualBytesAreEqualDataAndHashAlike) {
    EXPECT_TRUE(CFEqual(MakeData(4), MakeData(4)));
    EXPECT_EQ(CFHash(MakeData(4)), CFHash(MakeData(4)));
    EXPECT_FALSE(CFEqual(MakeData(4), MakeData(3)));
    EXPECT_NE(CFHash(MakeData(4)), CFHash(MakeData(3)));
    // A zero byte is content, not an end.
    EXPECT_FALSE(CFEqual(MakeData(0), MakeData(1)));
}

TEST(CFDataTest, EmptyDataHasAnAddress) {
    const CFOwner data(CFDataCreate(nullptr, nullptr, 0));
    EXPECT_EQ(CFDataGetLength(data), 0);
    EXPECT_NE(CFDataGetBytePtr(data), nullptr);
}

TEST(CFDataTest, ImpossibleArgumentsGiveNothing) {
    EXPECT_EQ(CFDataCreate(nullptr, nullptr, 1), nullptr);
    EXPECT_EQ(CFDataCreate(nullptr, kBytes.data(), -1), nullptr);
    EXPECT_EQ(CFDataGetLength(nullptr), 0);
    EXPECT_EQ(CFDataGetBytePtr(nullptr), nullptr);
    UInt8 byte = 5;
    CFDataGetBytes(nullptr, CFRangeMake(0, 1), &byte);
    EXPECT_EQ(byte, 5);
    CFDataGetBytes(MakeData(1), CFRangeMake(0, 1), nullptr);
}

} // namespace
} // namespace qel::platform
