#include <sys/sysctl.h>

#include <gtest/gtest.h>

#include <cerrno>

namespace qel::testing {
namespace {

TEST(SysctlTest, InstructionSetsAreAnsweredWithZeroOrOne) {
    for (const char* name : {"hw.optional.sse3", "hw.optional.sse2"}) {
        int value = -1;
        size_t size = sizeof value;
        EXPECT_EQ(sysctlbyname(name, &value, &size, nullptr, 0), 0) << name;
        EXPECT_EQ(size, sizeof value);
        EXPECT_TRUE(value == 0 || value == 1) << value;
    }
}

#if defined(__x86_64__)
TEST(SysctlTest, EveryProcessorOf64BitsHasSSE2) {
    int value = -1;
    size_t size = sizeof value;
    ASSERT_EQ(sysctlbyname("hw.optional.sse2", &value, &size, nullptr, 0), 0);
    EXPECT_EQ(value, 1);
}
#endif

TEST(SysctlTest, AnUnknownNameIsRefused) {
    int value = 77;
    size_t size = sizeof value;
    errno = 0;
    EXPECT_EQ(sysctlbyname("hw.optional.sse", &value, &size, nullptr, 0), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(value, 77);
}

TEST(SysctlTest, TheSizeCanBeAskedForAlone) {
    size_t size = 0;
    EXPECT_EQ(sysctlbyname("hw.optional.sse3", nullptr, &size, nullptr, 0), 0);
    EXPECT_EQ(size, sizeof(int));
}

TEST(SysctlTest, TooLittleRoomIsNotWrittenTo) {
    char room[2] = {7, 7};
    size_t size = sizeof room;
    errno = 0;
    EXPECT_EQ(sysctlbyname("hw.optional.sse3", room, &size, nullptr, 0), -1);
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_EQ(room[0], 7);
    EXPECT_EQ(room[1], 7);
}

TEST(SysctlTest, NothingCanBeSet) {
    int value = 1;
    errno = 0;
    EXPECT_EQ(sysctlbyname("hw.optional.sse3", nullptr, nullptr, &value, sizeof value), -1);
    EXPECT_EQ(errno, EPERM);
}

TEST(SysctlTest, MissingPointersAreRefused) {
    int value = 1;
    errno = 0;
    EXPECT_EQ(sysctlbyname(nullptr, &value, nullptr, nullptr, 0), -1);
    EXPECT_EQ(errno, EFAULT);
    errno = 0;
    EXPECT_EQ(sysctlbyname("hw.optional.sse3", &value, nullptr, nullptr, 0), -1);
    EXPECT_EQ(errno, EFAULT);
}

} // namespace
} // namespace qel::testing
