#include "ContainerObjects.h"

#include <gtest/gtest.h>

#include <cstring>

namespace qel::platform {
namespace {

// The name space of host names in RFC 4122, appendix C: 6ba7b810-9dad-11d1-80b4-00c04fd430c8.
constexpr CFUUIDBytes kHostNames = {0x6B, 0xA7, 0xB8, 0x10, 0x9D, 0xAD, 0x11, 0xD1,
                                    0x80, 0xB4, 0x00, 0xC0, 0x4F, 0xD4, 0x30, 0xC8};

TEST(CFUUIDTest, GivesBackItsBytes) {
    const CFOwner uuid(CFUUIDCreateFromUUIDBytes(nullptr, kHostNames));
    const CFUUIDBytes bytes = CFUUIDGetUUIDBytes(uuid);
    EXPECT_EQ(std::memcmp(&bytes, &kHostNames, sizeof bytes), 0);
    EXPECT_EQ(CFGetTypeID(uuid), CFUUIDGetTypeID());
}

TEST(CFUUIDTest, ReadsAsTheUsualText) {
    const CFOwner uuid(CFUUIDCreateFromUUIDBytes(nullptr, kHostNames));
    EXPECT_EQ(ToText(CFOwner(CFUUIDCreateString(nullptr, uuid))),
              "6BA7B810-9DAD-11D1-80B4-00C04FD430C8");
}

TEST(CFUUIDTest, BytesDecideEquality) {
    CFUUIDBytes others = kHostNames;
    others.byte15 = 0;
    const CFOwner uuid(CFUUIDCreateFromUUIDBytes(nullptr, kHostNames));
    const CFOwner same(CFUUIDCreateFromUUIDBytes(nullptr, kHostNames));
    const CFOwner other(CFUUIDCreateFromUUIDBytes(nullptr, others));
    EXPECT_TRUE(CFEqual(uuid, same));
    EXPECT_EQ(CFHash(uuid), CFHash(same));
    EXPECT_FALSE(CFEqual(uuid, other));
}

TEST(CFUUIDTest, NullReadsAsZeros) {
    const CFUUIDBytes bytes = CFUUIDGetUUIDBytes(nullptr);
    const CFUUIDBytes zeros = {};
    EXPECT_EQ(std::memcmp(&bytes, &zeros, sizeof bytes), 0);
    EXPECT_EQ(CFUUIDCreateString(nullptr, nullptr), nullptr);
}

} // namespace
} // namespace qel::platform
