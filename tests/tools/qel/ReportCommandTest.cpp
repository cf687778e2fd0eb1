#include "tests/harness/ChildProcess.h"
#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace qel::tool {
namespace {

using namespace test;

// A folder with drums and a template of no more than its place for data.
class ReportCommandTest : public testing::Test {
protected:
    ReportCommandTest() {
        WriteFile(File("t.html"), "<html><!-- qel: data --></html>");
        WriteWav(File("drums.wav"), 44100, {Drums(6, 120, 4)});
    }

    std::string File(const std::string& name) const { return mDirectory.File(name); }

    ChildResult Report(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "report");
        arguments.insert(arguments.end(), {"--template", File("t.html")});
        return RunTool(arguments);
    }

    const TempDirectory mDirectory;
};

TEST_F(ReportCommandTest, WritesAPageWithSound) {
    const ChildResult run = Report({File("drums.wav"), "--output", File("a/page.html")});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    const std::string page = ReadFile(File("a/page.html"));
    for (const char* id :
         {"page", "marks:beats", "waveform:rms", "picture:chroma:0:0", "audio:0"}) {
        EXPECT_NE(page.find(std::string("id=\"qel:") + id + "\""), std::string::npos) << id;
    }
}

TEST_F(ReportCommandTest, LeavesTheSoundOutWhenAsked) {
    EXPECT_EQ(Report({File("drums.wav"), "--no-audio", "--output", File("page.html")}).status, 0);
    EXPECT_EQ(ReadFile(File("page.html")).find("qel:audio"), std::string::npos);
}

TEST_F(ReportCommandTest, TheSamePageIsWrittenAgain) {
    Report({File("drums.wav"), "--output", File("one.html")});
    Report({File("drums.wav"), "--output", File("two.html")});
    EXPECT_EQ(ReadFile(File("one.html")), ReadFile(File("two.html")));
}

TEST_F(ReportCommandTest, AnExistingPageStaysWithoutOverwrite) {
    WriteFile(File("page.html"), "mine");
    const ChildResult run = Report({File("drums.wav"), "--output", File("page.html")});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(ReadFile(File("page.html")), "mine");
    EXPECT_EQ(Report({File("drums.wav"), "--overwrite", "--output", File("page.html")}).status, 0);
    EXPECT_NE(ReadFile(File("page.html")), "mine");
}

TEST_F(ReportCommandTest, SeveralFilesGetPagesAndATable) {
    WriteFile(File("no.wav"), "no audio");
    const ChildResult run =
        Report({File("drums.wav"), File("no.wav"), "--output", File("songs.html")});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(ReadFile(File("songs.html")).find("\"kind\":\"index\""), std::string::npos);
    EXPECT_EQ(mDirectory.Entries("songs-pages").size(), 1u);
}

TEST_F(ReportCommandTest, AnUpdateAnalyzesNewAndChangedSongsOnly) {
    WriteWav(File("more.wav"), 44100, {Drums(3, 100, 4)});
    const std::string drums = File("drums.wav");
    ASSERT_EQ(Report({drums, File("t.html"), "--output", File("s.html")}).status, 1);
    const auto pages = mDirectory.Entries("s-pages");
    ASSERT_EQ(pages.size(), 1u);
    const std::string page = File("s-pages/" + pages.front());
    const std::string kept = ReadFile(page) + "<!-- kept -->";
    WriteFile(page, kept);
    EXPECT_EQ(Report({drums, File("more.wav"), "--update", "--output", File("s.html")}).status, 0);
    EXPECT_EQ(ReadFile(page), kept);
    EXPECT_EQ(mDirectory.Entries("s-pages").size(), 2u);
    const std::string table = ReadFile(File("s.html"));
    EXPECT_NE(table.find("\"drums.wav\""), std::string::npos);
    EXPECT_NE(table.find("\"more.wav\""), std::string::npos);
    EXPECT_NE(table.find("s-pages/" + pages.front()), std::string::npos);
    WriteWav(drums, 44100, {Drums(4, 120, 4)}); // another length
    EXPECT_EQ(Report({drums, File("more.wav"), "--update", "--output", File("s.html")}).status, 0);
    EXPECT_NE(ReadFile(page), kept);
}

TEST_F(ReportCommandTest, ARunToCompareWithIsInThePage) {
    RunTool({"read", File("drums.wav"), "--format", "json", "--beats", "--output", File("r.json")});
    const ChildResult run =
        Report({File("drums.wav"), "--compare", File("r.json"), "--output", File("page.html")});
    EXPECT_EQ(run.status, 0) << run.err;
    const std::string page = ReadFile(File("page.html"));
    EXPECT_NE(page.find(R"("runs":[{"label":"r.json (qel )"), std::string::npos);
    EXPECT_NE(page.find("id=\"qel:marks:beats-0\""), std::string::npos);
}

TEST_F(ReportCommandTest, AnUpdateAddsARunToCompareWith) {
    const std::string page = File("page.html");
    RunTool({"read", File("drums.wav"), "--format", "json", "--beats", "--output", File("r.json")});
    ASSERT_EQ(Report({File("drums.wav"), "--output", page}).status, 0);
    EXPECT_EQ(Report({File("drums.wav"), "--update", "--compare", File("r.json"), "--output", page})
                  .status,
              0);
    EXPECT_NE(ReadFile(page).find(R"("runs":[{"label":"r.json)"), std::string::npos);
}

TEST_F(ReportCommandTest, ARunThatCannotBeComparedIsNamed) {
    const std::string page = File("page.html");
    const ChildResult run =
        Report({File("drums.wav"), "--compare", File("drums.wav"), "--output", page});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "qel: " + File("drums.wav") + ": is no output of qel read --format json\n");
    const std::vector<std::string> two{File("drums.wav"), File("drums.wav"), "--compare",
                                       File("t.html"),    "--output",        page};
    EXPECT_EQ(Report(two).status, 2);
}

TEST_F(ReportCommandTest, ARunOverAFileOfAnotherNameIsTold) {
    WriteWav(File("other.wav"), 44100, {Drums(6, 100, 4)});
    RunTool({"read", File("other.wav"), "--format", "json", "--beats", "--output", File("r.json")});
    const std::vector<std::string> command{File("drums.wav"), "--update", "--compare",
                                           File("r.json"),    "--output", File("page.html")};
    for (int run = 0; run < 2; ++run) {
        const ChildResult result = Report(command);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.err, "qel: " + File("r.json") +
                                  ": warning: is a run over other.wav, not over " +
                                  File("drums.wav") + "\n");
    }
}

TEST_F(ReportCommandTest, AFileThatIsNamedTwiceIsRefusedBeforeAnyPageIsWritten) {
    const std::string drums = File("drums.wav");
    const ChildResult run = Report({drums, drums, "--output", File("songs.html")});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.err, "qel: " + drums + ": is named twice; name each file once\n");
    EXPECT_EQ(mDirectory.Entries().size(), 2u);
}

TEST_F(ReportCommandTest, ARateThatCannotBeReadIsToldAsByRead) {
    WriteWav(File("slow.wav"), 4000, {std::vector<float>(4000, 0.5f)});
    const ChildResult read = RunTool({"read", File("slow.wav")});
    const ChildResult report = Report({File("slow.wav"), "--output", File("page.html")});
    EXPECT_EQ(report.status, 1);
    EXPECT_EQ(report.err, "qel: " + File("slow.wav") +
                              ": has 1 channel at 4000 Hz; 1 to 64 channels "
                              "at 8000 to 768000 Hz can be read\n");
    EXPECT_EQ(read.err, report.err);
}

TEST_F(ReportCommandTest, AnInputIsNotReplaced) {
    const std::string before = ReadFile(File("drums.wav"));
    const ChildResult run =
        Report({File("drums.wav"), "--overwrite", "--output", File("drums.wav")});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(ReadFile(File("drums.wav")), before);
}

TEST_F(ReportCommandTest, SeveralPagesDoNotFitStandardOutput) {
    EXPECT_EQ(Report({File("drums.wav"), File("drums.wav"), "--output", "-"}).status, 2);
}

TEST_F(ReportCommandTest, AMissingTemplateIsOneLineThatSaysHowToGetIt) {
    const ChildResult run = RunTool(
        {"report", File("drums.wav"), "--output", File("p.html"), "--template", File("none")});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("no template of the page at"), std::string::npos);
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1);
}

} // namespace
} // namespace qel::tool
