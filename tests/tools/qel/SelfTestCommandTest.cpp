#include "tests/harness/ChildProcess.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>

namespace qel::tool {
namespace {

using namespace test;

TEST(SelfTestCommandTest, ThisMachineGivesTheResultsOfEveryMachine) {
    const ChildResult result = RunTool({"selftest", "--short"});
    EXPECT_EQ(0, result.status) << result.out;
    EXPECT_EQ("", result.err);
    EXPECT_EQ(31, std::ranges::count(result.out, '\n'));
    EXPECT_NE(std::string::npos, result.out.find("\nspectrum                              ok\n"));
    EXPECT_NE(std::string::npos,
              result.out.find("\nall 30 keys give the results of every machine"));
}

TEST(SelfTestCommandTest, PrintsTheVeryFileThatItsDigestsAreFrozenIn) {
    std::ifstream file(QEL_FROZEN_DIGESTS);
    ASSERT_TRUE(file);
    const std::string source(std::istreambuf_iterator<char>(file), {});
    const ChildResult result = RunTool({"selftest", "--print"});
    EXPECT_EQ(0, result.status);
    EXPECT_EQ(source, result.out);
}

TEST(SelfTestCommandTest, PrintsNothingOfTheShortSignalAlone) {
    const ChildResult result = RunTool({"selftest", "--short", "--print"});
    EXPECT_EQ(2, result.status);
    EXPECT_EQ("", result.out);
}

TEST(SelfTestCommandTest, OutputThatCannotBeWrittenIsAFailure) {
    const ChildResult result = RunTool({"selftest", "--short"}, {.outPath = "/dev/full"});
    EXPECT_EQ(1, result.status);
    EXPECT_NE("", result.err);
}

} // namespace
} // namespace qel::tool
