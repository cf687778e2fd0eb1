#include "output/files/SpillFile.h"

#include "tests/harness/TempDirectory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <iterator>
#include <string>
#include <string_view>

namespace qel::output {
namespace {

namespace fs = std::filesystem;

std::ptrdiff_t OpenFiles() {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

// The numbers up to a count, a line each.
void AppendLines(std::string& text, SpillFile& spill, int count) {
    for (int i = 0; i < count; ++i) {
        const std::string line = fmt::format("line {}\n", i);
        text += line;
        spill.Buffer().append(std::string_view(line));
        spill.MayFlush();
    }
}

class SpillFileTest : public testing::Test {
protected:
    std::string CopyOf(const SpillFile& spill) const {
        const std::string path = mDirectory.File("copy");
        TextSink sink(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), path);
        spill.CopyTo(sink);
        sink.Close();
        return test::ReadFile(path);
    }

    test::TempDirectory mDirectory;
};

TEST_F(SpillFileTest, ShortTextStaysInMemory) {
    const std::ptrdiff_t before = OpenFiles();
    SpillFile spill;
    std::string text;
    AppendLines(text, spill, 1000);
    EXPECT_EQ(OpenFiles(), before);
    EXPECT_EQ(CopyOf(spill), text);
}

TEST_F(SpillFileTest, LongTextTakesLittleMemoryAndComesBackInItsOrder) {
    const std::ptrdiff_t before = OpenFiles();
    SpillFile spill;
    std::string text;
    AppendLines(text, spill, 100000);
    EXPECT_GT(text.size(), 1000000u);
    EXPECT_LT(spill.Buffer().size(), 65536u);
    EXPECT_EQ(OpenFiles(), before + 1);
    EXPECT_EQ(CopyOf(spill), text);
    EXPECT_EQ(CopyOf(spill), text) << "as often as it is wanted";
}

TEST_F(SpillFileTest, AClearedFileHoldsWhatCameAfterwards) {
    const std::ptrdiff_t before = OpenFiles();
    SpillFile spill;
    std::string dropped;
    AppendLines(dropped, spill, 100000);
    spill.Clear();
    EXPECT_EQ(OpenFiles(), before);
    EXPECT_EQ(CopyOf(spill), "");
    std::string text;
    AppendLines(text, spill, 20);
    EXPECT_EQ(CopyOf(spill), text);
    AppendLines(text, spill, 20000);
    EXPECT_EQ(CopyOf(spill), text);
}

} // namespace
} // namespace qel::output
