// "qel batch" and "qel merge" as they were built.

#include "batch/dataset/Dataset.h"
#include "batch/dataset/Tables.h"
#include "tests/harness/ChildProcess.h"
#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>

namespace qel {

using namespace test;

namespace {

namespace fs = std::filesystem;

constexpr int kRateHz = 22050;

class BatchCommandTest : public testing::Test {
protected:
    BatchCommandTest() {
        fs::create_directory(mPlace.File("music"));
        for (int i = 0; i < 3; ++i) {
            WriteWav(mPlace.File("music/song" + std::to_string(i) + ".wav"), kRateHz,
                     {Sine(kRateHz / 2, 40 + 10 * i, 0.5)});
        }
    }

    ChildResult Run(std::vector<std::string> arguments, ChildSetup setup = {}) {
        setup.workingDirectory = mPlace.Path();
        return RunTool(std::move(arguments), setup);
    }

    bool IsThere(const std::string& name) const { return fs::exists(mPlace.File(name)); }

    TempDirectory mPlace;
};

TEST_F(BatchCommandTest, AGoodRunEndsWithZeroAndASummary) {
    const ChildResult run = Run({"batch", "music", "--out", "ds", "--jobs", "1"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_NE(run.out.find("ds: 3 files, 0 with errors\n"), std::string::npos) << run.out;
    EXPECT_TRUE(IsThere("ds/dataset.sqlite"));
}

TEST_F(BatchCommandTest, TheSummaryOfOneFileSaysFile) {
    const ChildResult first = Run({"batch", "music/song0.wav", "--out", "ds"});
    EXPECT_TRUE(first.out.starts_with("1 file in ")) << first.out;
    EXPECT_NE(first.out.find("ds: 1 file, 0 with errors\n"), std::string::npos) << first.out;
    const ChildResult second = Run({"batch", "music/song0.wav", "--out", "ds"});
    EXPECT_EQ(second.out, "1 file was done before; 0 had been begun and not finished\n"
                          "ds: 1 file, 0 with errors\n");
}

TEST_F(BatchCommandTest, AnErrorIsToldInTheSummaryAndByTheStatusEveryTime) {
    WriteFile(mPlace.File("music/bad.wav"), "no audio");
    for (int i = 0; i < 2; ++i) {
        const ChildResult run = Run({"batch", "music", "--out", "ds"});
        EXPECT_EQ(run.status, 1);
        EXPECT_NE(
            run.out.find("ds: 4 files, 1 with errors\n  1 not audio, such as music/bad.wav: "),
            std::string::npos)
            << run.out;
    }
}

TEST_F(BatchCommandTest, SensesOfTheCommandLineThatAreNoneAreRefused) {
    using Arguments = std::vector<std::string>;
    for (const auto& [arguments, reason] : std::vector<std::pair<Arguments, std::string>>{
             {{}, "no files"},
             {{"nowhere"}, "nowhere: no such file or directory"},
             {{"music", "--shard", "0/2"}, "--shard"},
             {{"music", "--shard", "3/2"}, "--shard"},
             {{"music", "--shard", "1/2x"}, "--shard"},
             {{"music", "--readings", "tune"}, "--readings: unknown reading \"tune\""},
             {{"music", "--readings", "none"}, "nothing to do"},
             {{"music", "--keys", "tun"}, "unknown key"},
             {{"music", "--param", "complexity=1"}, "--param is for keys"},
             {{"music", "--jobs", "0"}, "--jobs"},
         }) {
        Arguments all{"batch", "--out", "ds"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        const ChildResult run = Run(all);
        EXPECT_EQ(run.status, 2) << reason;
        EXPECT_NE(run.err.find(reason), std::string::npos) << run.err;
        EXPECT_EQ(std::ranges::count(run.err, '\n'), 1) << run.err;
        EXPECT_FALSE(IsThere("ds")) << reason;
    }
}

TEST_F(BatchCommandTest, ALimitThatNoWorkerFitsIntoIsSaidToBeTooLow) {
    if (QEL_SANITIZED) {
        GTEST_SKIP() << "a checker's own memory is above any limit";
    }
    const ChildResult run = Run({"batch", "music", "--out", "ds", "--memory-limit", "1"});
    EXPECT_EQ(run.status, 1) << run.err;
    EXPECT_NE(run.out.find("  3 memory, such as music/song0.wav: needs more than 1 MiB of memory"),
              std::string::npos)
        << run.out;
}

TEST_F(BatchCommandTest, OtherSettingsAreRefusedByTheirNames) {
    Run({"batch", "music", "--out", "ds"});
    const ChildResult keys = Run({"batch", "music", "--out", "ds", "--readings", "key"});
    EXPECT_EQ(keys.status, 2);
    EXPECT_EQ(
        keys.err,
        "qel: ds: was made with --readings \"tempo, bars, key, loudness, bandwidth\", not \"key\"; "
        "repeat its options, or name another dataset\n");
    const ChildResult sources = Run({"batch", "music/song1.wav", "--out", "ds"});
    EXPECT_EQ(
        sources.err,
        "qel: ds: was made with sources \"music\", not \"music/song1.wav\"; repeat its options, "
        "or name another dataset\n");
}

TEST_F(BatchCommandTest, AnEmptyListGivesAnEmptyDataset) {
    WriteFile(mPlace.File("list"), "");
    const ChildResult run = Run({"batch", "--files-from", "list", "--out", "ds"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "ds: 0 files, 0 with errors\n");
}

TEST_F(BatchCommandTest, AListThatCannotBeReadMakesNoDataset) {
    for (const auto& [list, reason] :
         {std::pair{"none", "No such file or directory"}, std::pair{"music", "Is a directory"}}) {
        const ChildResult run = Run({"batch", "--files-from", list, "--out", "ds"});
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.err,
                  std::string("qel: ") + list + ": cannot read this list: " + reason + "\n");
        EXPECT_FALSE(fs::exists(mPlace.File("ds")));
    }
}

TEST_F(BatchCommandTest, AListOnStandardInputThatCannotBeReadMakesNoDataset) {
    WriteFile(mPlace.File("list"), std::string("music/song0.wav\0gone.wav\0", 25));
    const ChildResult run =
        Run({"batch", "--files-from", "-", "--out", "new/ds"}, {.inPath = mPlace.File("list")});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err,
              "qel: -: cannot read this list: a line has a byte of 0; --null reads such lists\n");
    EXPECT_FALSE(IsThere("new"));
    // A dataset that was there before stays.
    EXPECT_EQ(Run({"batch", "music", "--files-from", "-", "--out", "ds"}).status, 0);
    EXPECT_EQ(
        Run({"batch", "music", "--files-from", "-", "--out", "ds"}, {.inPath = mPlace.File("list")})
            .status,
        1);
    EXPECT_TRUE(IsThere("ds/dataset.sqlite"));
    EXPECT_TRUE(IsThere("ds/settings"));
}

TEST_F(BatchCommandTest, ARunWhoseRowsAnotherRunHasTakenOverSaysSo) {
    WriteRepeatedWav(mPlace.File("music/long.wav"), 44100, Noise(44100, 0.3f), 60);
    const std::vector<std::string> command{"batch",  "music", "--out",      "ds",
                                           "--jobs", "1",     "--readings", "loudness"};
    std::vector<std::string> line{ToolPath()};
    line.insert(line.end(), command.begin(), command.end());
    ChildProcess first(line, {.workingDirectory = mPlace.Path()});
    while (!IsThere("ds/parts") || mPlace.Entries("ds/parts").empty()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    first.Send(SIGSTOP);
    const ChildResult second = Run(command);
    EXPECT_EQ(second.status, 0) << second.err;
    const std::string tables = ReadFile(mPlace.File("ds/dataset.sqlite"));
    first.Send(SIGCONT);
    const ChildResult result = first.Wait();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "qel: ds: another run is writing to this dataset; run the command again "
                          "after that run has ended\n");
    EXPECT_EQ(ReadFile(mPlace.File("ds/dataset.sqlite")), tables);
    const ChildResult third = Run(command);
    EXPECT_EQ(third.status, 0) << third.err;
    EXPECT_NE(third.out.find("4 files were done before"), std::string::npos) << third.out;
}

TEST_F(BatchCommandTest, FilesThatAListNamesAndThatDoNotExistAreRows) {
    WriteFile(mPlace.File("list"), std::string("music/song0.wav\0gone.wav\0", 25));
    const ChildResult run = Run({"batch", "--files-from", "-", "--null", "--out", "ds"},
                                {.inPath = mPlace.File("list")});
    EXPECT_EQ(run.status, 1) << run.err;
    EXPECT_NE(
        run.out.find(
            "ds: 2 files, 1 with errors\n  1 unreadable, such as gone.wav: No such file or directory"),
        std::string::npos)
        << run.out;
}

TEST_F(BatchCommandTest, ADirectoryWithoutPermissionIsARow) {
    fs::create_directory(mPlace.File("music/closed"));
    fs::permissions(mPlace.File("music/closed"), fs::perms::none);
    const ChildResult run = Run({"batch", "music", "--out", "ds"}, {.heedsPermissions = true});
    fs::permissions(mPlace.File("music/closed"), fs::perms::owner_all);
    EXPECT_EQ(run.status, 1) << run.err;
    EXPECT_NE(
        run.out.find(
            "ds: 4 files, 1 with errors\n  1 unreadable, such as music/closed: cannot list this "
            "directory: Permission denied\n"),
        std::string::npos)
        << run.out;
}

TEST_F(BatchCommandTest, AFirstRunThatCannotListADirectorySaysNothingOfEarlierFiles) {
    fs::create_directory(mPlace.File("closed"));
    fs::permissions(mPlace.File("closed"), fs::perms::none);
    const ChildResult first = Run({"batch", "closed", "--out", "ds"}, {.heedsPermissions = true});
    const ChildResult second = Run({"batch", "closed", "--out", "ds"}, {.heedsPermissions = true});
    fs::permissions(mPlace.File("closed"), fs::perms::owner_all);
    EXPECT_TRUE(first.out.starts_with("ds: 1 file, 1 with errors\n")) << first.out;
    EXPECT_EQ(second.out, first.out);
}

TEST_F(BatchCommandTest, DirectoriesWithoutAudioEndWithOneAndTheReason) {
    fs::create_directory(mPlace.File("texts"));
    WriteFile(mPlace.File("texts/a.txt"), "a text");
    const ChildResult run = Run({"batch", "texts", "--out", "ds"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "ds: 0 files, 0 with errors\n");
    EXPECT_EQ(run.err, "qel: texts: no file there has an extension of audio files; --match '*' "
                       "takes all files\n");
    const ChildResult matches =
        Run({"batch", "texts", "music", "--match", "*.flac", "--out", "ds2", "--quiet"});
    EXPECT_EQ(matches.status, 1);
    EXPECT_EQ(matches.err,
              "qel: texts and the other sources: no file there has a name that --match takes\n");
}

TEST_F(BatchCommandTest, ADatasetWithDamagedTablesSaysWhatToDo) {
    Run({"batch", "music", "--out", "ds"});
    WriteFile(mPlace.File("ds/dataset.sqlite"), std::string(8192, 'x'));
    const ChildResult run = Run({"batch", "music", "--out", "ds"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "qel: ds: its tables are damaged: file is not a database; remove this "
                       "dataset and run its command again\n");
    const ChildResult merge = Run({"merge", "ds", "--out", "all"});
    EXPECT_EQ(merge.err, run.err);
}

TEST_F(BatchCommandTest, ADatasetThatCannotBeWrittenCostsOneLine) {
    fs::permissions(mPlace.Path(), fs::perms::owner_read | fs::perms::owner_exec);
    const ChildResult run = Run({"batch", "music", "--out", "ds"}, {.heedsPermissions = true});
    fs::permissions(mPlace.Path(), fs::perms::owner_all);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "qel: ds: cannot make this directory: Permission denied\n");
}

// A limit on the size of files shows as a full disk does: a write fails in the middle.
TEST_F(BatchCommandTest, ADatasetThatCouldNotBeWrittenCanGoOn) {
    const std::vector<std::string> command{
        "batch", "music", "--out", "ds", "--keys", "spectrum flux properties", "--jobs", "1"};
    for (const unsigned long largest : {200uL, 1000uL, 2500uL, 10000uL}) {
        const ChildResult run = Run(command, {.largestFile = largest});
        EXPECT_EQ(run.status, 1) << largest;
        EXPECT_EQ(run.err.substr(0, 7), "qel: ds") << run.err;
        EXPECT_EQ(std::ranges::count(run.err, '\n'), 1) << run.err;
    }
    const ChildResult run = Run(command);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("ds: 3 files, 0 with errors"), std::string::npos) << run.out;
    EXPECT_TRUE(mPlace.Entries("ds/parts").empty());
}

TEST_F(BatchCommandTest, SignalsEndARunWithinASecondAndItGoesOn) {
    for (int i = 0; i < 3; ++i) { // minutes of audio, seconds of work
        WriteRepeatedWav(mPlace.File("music/long" + std::to_string(i) + ".wav"), 44100,
                         Noise(44100, 0.3f), 240);
    }
    std::size_t begun = 0;
    for (const int signal : {SIGINT, SIGTERM}) {
        ChildProcess run({ToolPath(), "batch", "music", "--out", "ds", "--jobs", "2"},
                         {.workingDirectory = mPlace.Path()});
        ++begun; // each run leaves its part
        while (!IsThere("ds/parts") || mPlace.Entries("ds/parts").size() < begun) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        const auto begin = std::chrono::steady_clock::now();
        run.Send(signal);
        const ChildResult result = run.Wait();
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
        EXPECT_EQ(result.signal, signal);
        EXPECT_EQ(result.err, "qel: stopped; the same command continues\n");
        EXPECT_LT(took.count(), 1.0);
    }
    for (int i = 0; i < 3; ++i) {
        fs::remove(mPlace.File("music/long" + std::to_string(i) + ".wav"));
    }
    EXPECT_EQ(Run({"batch", "music", "--out", "ds"}).status, 0);
}

TEST_F(BatchCommandTest, LimitsOfTheCommandLineAreHeld) {
    // Long enough that no result is there before the driver looks at the time.
    for (int i = 0; i < 3; ++i) {
        WriteWav(mPlace.File("music/song" + std::to_string(i) + ".wav"), kRateHz,
                 {Sine(60 * kRateHz, 40 + 10 * i, 0.5)});
    }
    const ChildResult time = Run({"batch", "music", "--out", "time", "--time-limit", "0.001"});
    EXPECT_EQ(time.status, 1);
    EXPECT_NE(time.out.find("3 time, such as music/song0.wav: took longer than 0.001 s"),
              std::string::npos)
        << time.out;
    if (!QEL_SANITIZED) {
        const ChildResult memory =
            Run({"batch", "music", "--out", "memory", "--memory-limit", "1"});
        EXPECT_EQ(memory.status, 1);
        EXPECT_NE(memory.out.find("memory: 3 files, 3 with errors"), std::string::npos)
            << memory.out;
    }
}

TEST_F(BatchCommandTest, ATimeLimitIsANumberInItsRange) {
    for (const std::string text : {"nan", "inf", "0", "-1", "x"}) {
        const ChildResult run = Run({"batch", "music", "--out", "ds", "--time-limit", text});
        EXPECT_EQ(run.status, 2) << text;
        EXPECT_EQ(run.err, "qel: --time-limit: Value " + text +
                               " not in range 0.001 to 1000000; see qel --help\n");
    }
    EXPECT_FALSE(fs::exists(mPlace.File("ds")));
}

TEST_F(BatchCommandTest, ShardsAreMergedByTheTool) {
    for (const char* index : {"1", "2"}) {
        const std::string name = std::string("s") + index;
        EXPECT_EQ(
            Run({"batch", "music", "--out", name, "--shard", std::string(index) + "/2"}).status, 0);
    }
    const ChildResult gap = Run({"merge", "s1", "--out", "all"});
    EXPECT_EQ(gap.status, 2);
    EXPECT_EQ(gap.err, "qel: shard 2/2 is missing\n");
    const ChildResult merge = Run({"merge", "s1", "s2", "--out", "all"});
    EXPECT_EQ(merge.status, 0) << merge.err;
    EXPECT_EQ(merge.out, "all: 3 files, 0 with errors\n");
    const ChildResult again = Run({"merge", "s1", "s2", "--out", "all"});
    EXPECT_EQ(again.status, 2);
    EXPECT_EQ(again.err,
              "qel: all: exists already; --replace renews it, or name another dataset\n");
    EXPECT_EQ(Run({"merge", "s1", "s2", "--out", "all", "--replace"}).out, merge.out);
    Run({"batch", "music", "--out", "other", "--readings", "key"});
    const ChildResult other = Run({"merge", "s1", "s2", "--out", "other", "--replace"});
    EXPECT_EQ(other.status, 2);
    EXPECT_NE(other.err.find("qel: other: was made with"), std::string::npos) << other.err;
}

TEST_F(BatchCommandTest, ListsOfFilesAreMadeAndReadByTheTool) {
    const ChildResult made = Run({"batch", "music", "--list-only", "--out", "list"});
    EXPECT_EQ(made.status, 0) << made.err;
    EXPECT_EQ(made.out, "list: 3 files\n");
    const ChildResult shard =
        Run({"batch", "music", "--list", "list", "--shard", "2/2", "--out", "s2"});
    EXPECT_EQ(shard.status, 0) << shard.err;
    EXPECT_NE(shard.out.find("s2: 1 file, 0 with errors\n"), std::string::npos) << shard.out;
    const ChildResult both = Run({"batch", "music", "--list", "list", "--list-only", "--out", "l"});
    EXPECT_EQ(both.status, 2);
    const ChildResult part = Run({"batch", "music", "--list-only", "--shard", "1/2", "--out", "l"});
    EXPECT_EQ(part.status, 2);
    EXPECT_FALSE(IsThere("l"));
}

// The decoder of Codec 2 draws random phases, whose state is that of the process.
TEST_F(BatchCommandTest, AFileOfCodecTwoHasTheRowThatItHasAlone) {
    for (const char* name : {"song0", "song1"}) {
        const std::string path = mPlace.File(std::string("music/") + name);
        Encode(path + ".wav", path + ".c2", {"-ar", "8000", "-ac", "1", "-c:a", "libcodec2"});
    }
    const std::vector<std::string> options{"--keys", "audio range", "--jobs", "1"};
    const auto row = [&](const std::string& source, const std::string& dataset) {
        std::vector<std::string> arguments{"batch", source, "--match", "*.c2", "--out", dataset};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const ChildResult run = Run(arguments);
        EXPECT_EQ(run.status, 0) << run.err;
        batch::Row found;
        const std::string place = mPlace.File(dataset);
        batch::Tables(place, batch::Dataset::TablesOf(place))
            .ForEachRow([&](const batch::Row& each) {
                found = each; // the last one
            });
        found.erase("seconds");
        return found;
    };
    const batch::Row both = row("music", "both");
    const batch::Row alone = row("music/song1.c2", "alone");
    EXPECT_EQ(both, alone);
    const ChildResult read = Run({"read", "--format", "json", "music/song1.c2"});
    EXPECT_EQ(batch::Row::parse(read.out).at("files").at(0).at("bandwidth_hz"),
              both.at("readings").at("bandwidth_hz"))
        << "readings come from a pass that is not the first of this file";
}

TEST_F(BatchCommandTest, CommandsSayWhichFilesOfCodecTwoDependOnThoseBeforeThem) {
    for (const char* name : {"song0", "song1"}) {
        const std::string path = mPlace.File(std::string("music/") + name);
        Encode(path + ".wav", path + ".c2", {"-ar", "8000", "-ac", "1", "-c:a", "libcodec2"});
    }
    const std::string warning =
        ": warning: its results depend on the Codec 2 files before it; run the command for it "
        "alone, or use qel batch\n";
    using Words = std::vector<std::string>;
    for (const Words& command : {Words{"read"}, Words{"analyze", "--keys", "audio range"}}) {
        const auto told = [&](const Words& files) {
            Words words = command;
            words.insert(words.end(), files.begin(), files.end());
            return Run(words).err;
        };
        EXPECT_EQ(told({"music/song0.wav", "music/song1.c2"}), "") << command.front();
        EXPECT_EQ(told({"music/song0.c2", "music/song1.wav", "music/song1.c2"}),
                  "qel: music/song1.c2" + warning)
            << command.front();
    }
}

} // namespace
} // namespace qel
