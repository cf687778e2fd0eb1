#include "tests/harness/ChildProcess.h"
#include "tests/harness/TempDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace qel::tool {
namespace {

using namespace test;

// What tests/python/test_shows.py does not see: how the interpreter is started, and what is said
// where it, or a package of it, is missing.
class PlotCommandTest : public testing::Test {
protected:
    std::string File(const std::string& name) const { return mDirectory.File(name); }

    // An interpreter of a few lines of shell.
    std::string Interpreter(const std::string& lines) const {
        WriteFile(File("python"), "#!/bin/sh\n" + lines + "\n");
        std::filesystem::permissions(File("python"), std::filesystem::perms::owner_all);
        return File("python");
    }

    const TempDirectory mDirectory;
};

TEST_F(PlotCommandTest, AMissingInterpreterIsNamed) {
    const ChildResult run =
        RunTool({"plot", "a.wav", "--output", "a.png", "--python", File("none")});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "qel: cannot start the Python interpreter \"" + File("none") +
                           "\" (No such file or directory): install Python 3.10 or later, or name "
                           "one with --python\n");
}

TEST_F(PlotCommandTest, AMissingPackageIsNamedWithItsRemedy) {
    // Without its folders of packages, and without what the environment adds.
    const ChildResult run = RunTool({"plot", "a.wav", "--output", "a.png", "--python",
                                     Interpreter("exec python3 -I -S \"$@\"")});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find(" has no package \"qelaudio\": run pip install"), std::string::npos)
        << run.err;
    EXPECT_EQ(run.err.find('\n'), run.err.size() - 1);
}

TEST_F(PlotCommandTest, OptionsAreForwardedAsTheyAre) {
    const ChildResult run = RunTool(
        {"plot", "--lanes", "keys,tempo", "--end", "3", "--dark", "--output", "a b.png", "--python",
         Interpreter("shift 2; for w; do echo \"<$w>\"; done; touch 'a b.png'"), "--", "-a b.wav"},
        {.workingDirectory = mDirectory.Path()});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "<--output=a b.png>\n<--lanes=keys,tempo>\n<--end=3>\n<--dark>\n<-->\n"
                       "<-a b.wav>\n");
}

TEST_F(PlotCommandTest, AnInterpreterThatWritesNoPictureIsNamed) {
    const ChildResult none =
        RunTool({"plot", "a.wav", "--output", File("a.png"), "--python", "/bin/true"});
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.err, "qel: \"/bin/true\" has ended and written no picture: it is no Python "
                        "interpreter; name one with --python\n");
    WriteFile(File("a.png"), "an earlier picture");
    const ChildResult earlier = RunTool(
        {"plot", "a.wav", "--overwrite", "--output", File("a.png"), "--python", "/bin/true"});
    EXPECT_EQ(earlier.status, 1);
    EXPECT_EQ(earlier.err, none.err);
}

TEST_F(PlotCommandTest, TheStatusIsThatOfTheInterpreter) {
    EXPECT_EQ(
        RunTool({"plot", "a.wav", "--output", "a.png", "--python", Interpreter("exit 3")}).status,
        3);
}

} // namespace
} // namespace qel::tool
