#include "batch/dataset/FileStamp.h"

#include "tests/harness/TempDirectory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>

namespace qel::batch {
namespace {

// Sets the time of the last change.
void setTime(const std::string& path, std::int64_t seconds, long nanoseconds) {
    const timespec times[2] = {{0, UTIME_OMIT}, {seconds, nanoseconds}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

TEST(FileStampTest, HasSizeAndTimeInNanoseconds) {
    const test::TempDirectory directory;
    const std::string path = directory.File("a");
    test::WriteFile(path, "five!");
    setTime(path, 1'700'000'000, 123'456'789);
    const FileStamp stamp = FileStamp::Of(path);
    EXPECT_EQ(stamp.Size(), 5);
    EXPECT_EQ(stamp.ModifiedNs(), 1'700'000'000'123'456'789);
}

TEST(FileStampTest, TimesBefore1970AreNegative) {
    const test::TempDirectory directory;
    const std::string path = directory.File("a");
    test::WriteFile(path, "");
    setTime(path, -2, 500'000'000); // 1.5 s before
    EXPECT_EQ(FileStamp::Of(path).ModifiedNs(), -1'500'000'000);
}

TEST(FileStampTest, AnotherSizeOrTimeIsAnotherStamp) {
    const test::TempDirectory directory;
    const std::string path = directory.File("a");
    test::WriteFile(path, "five!");
    setTime(path, 1000, 1);
    const FileStamp first = FileStamp::Of(path);
    EXPECT_EQ(FileStamp::Of(path), first);
    setTime(path, 1000, 2);
    EXPECT_FALSE(FileStamp::Of(path) == first);
    test::WriteFile(path, "longer");
    setTime(path, 1000, 1);
    EXPECT_FALSE(FileStamp::Of(path) == first);
}

TEST(FileStampTest, AMissingFileHasNeither) {
    const test::TempDirectory directory;
    const FileStamp stamp = FileStamp::Of(directory.File("nothing"));
    EXPECT_TRUE(stamp.Size().is_null());
    EXPECT_TRUE(stamp.ModifiedNs().is_null());
    EXPECT_EQ(stamp, FileStamp::Of(directory.File("nothing else")));
}

} // namespace
} // namespace qel::batch
