// Signals, and audio that never ends.
#include "tests/harness/ChildProcess.h"
#include "tests/harness/OutputPaths.h"
#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"
#include "tests/tools/faults/EndlessFile.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace qel::tool {
namespace {

using namespace test;

using Strings = std::vector<std::string>;

constexpr unsigned int kSeconds = 120;

void Sleep() {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

// Whether something comes true before long.
template <typename Condition>
bool Becomes(const Condition& condition) {
    for (int i = 0; i < 6000; ++i) {
        if (condition()) {
            return true;
        }
        Sleep();
    }
    return false;
}

// The most memory that a living process has had, in kilobytes.
long PeakKilobytes(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    std::string word;
    while (status >> word && word != "VmHWM:") {
    }
    long kilobytes = -1;
    status >> kilobytes;
    return kilobytes;
}

// Waits until a process sleeps in the kernel, as it does while it writes to a full pipe.
bool FallsAsleep(pid_t process) {
    constexpr int kTimesInARow = 20;
    int asleep = 0;
    return Becomes([&] {
        std::ifstream status("/proc/" + std::to_string(process) + "/stat");
        std::string line;
        std::getline(status, line);
        asleep = line.find(") S ") != std::string::npos ? asleep + 1 : 0;
        return asleep == kTimesInARow;
    });
}

class AnalyzeSignalTest : public testing::Test {
protected:
    AnalyzeSignalTest() {
        std::filesystem::create_directory(mSetup.temporaryDirectory);
        WriteEndlessWav(mEndless);
    }

    Strings Command(Strings arguments) const {
        arguments.insert(arguments.begin(), {ToolPath(), "analyze"});
        arguments.insert(arguments.end(), {"--keys", "temporal properties", "--block", "512"});
        return arguments;
    }

    TempDirectory mDirectory;
    std::string mEndless = mDirectory.File("endless.wav");
    std::string mOut = mDirectory.File("out");
    ChildSetup mSetup{.temporaryDirectory = mDirectory.File("tmp"), .seconds = kSeconds};
};

// Else the tests of signals would wait for ever where a script runs them with &.
TEST_F(AnalyzeSignalTest, AChildOfATestThatIgnoresSignalsHeedsThem) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const auto previous = std::signal(signal, SIG_IGN);
        const std::string number = std::to_string(signal);
        const ChildResult result = RunChild({"/bin/sh", "-c", "kill -" + number + " $$"}, mSetup);
        std::signal(signal, previous);
        EXPECT_EQ(result.signal, signal);
    }
}

TEST_F(AnalyzeSignalTest, AnEndlessFileStreamsInFlatMemoryUntilASignalEndsIt) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    mSetup.outDescriptor = ends[1];
    ChildProcess child(Command({mEndless, "--format", "csv"}), mSetup);
    close(ends[1]);
    const auto take = [&](long bytes) {
        std::vector<char> chunk(65536);
        while (bytes > 0) {
            const ssize_t count = read(ends[0], chunk.data(), chunk.size());
            if (count <= 0) {
                return false;
            }
            bytes -= count;
        }
        return true;
    };
    ASSERT_TRUE(take(12'000'000)); // buffers of the output have their size then
    const long early = PeakKilobytes(child.Id());
    ASSERT_TRUE(take(20'000'000));
    const long late = PeakKilobytes(child.Id());
    child.Send(SIGINT);
    EXPECT_EQ(child.Wait().signal, SIGINT);
    close(ends[0]);
    if (!QEL_SANITIZED) { // the checker's own memory grows with the work done
        EXPECT_LT(late - early, 100) << early << " kB and " << late << " kB";
    }
}

TEST_F(AnalyzeSignalTest, AReaderThatStopsReadingDoesNotHoldASignalUp) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        std::array<int, 2> ends{};
        ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
        mSetup.outDescriptor = ends[1];
        ChildProcess child(Command({mEndless, "--format", "csv"}), mSetup);
        close(ends[1]);
        ASSERT_TRUE(FallsAsleep(child.Id()));
        child.Send(signal);
        EXPECT_EQ(child.Wait().signal, signal);
        close(ends[0]);
    }
}

TEST_F(AnalyzeSignalTest, AnOutputPipeThatNobodyReadsDoesNotHoldASignalUp) {
    ASSERT_EQ(mkfifo(mOut.c_str(), 0600), 0);
    ChildProcess child(Command({mEndless, "--output", mOut}), mSetup);
    ASSERT_TRUE(FallsAsleep(child.Id()));
    child.Send(SIGTERM);
    EXPECT_EQ(child.Wait().signal, SIGTERM);
}

// A decoder that looks for the next packet through a terabyte of zeros is stopped as well.
TEST_F(AnalyzeSignalTest, ASearchForTheNextPacketDoesNotHoldASignalUp) {
    WriteFloatWav(mDirectory.File("tone.wav"), 44100, {Sine(44100, 100, 0.5)});
    for (const std::string extension : {"mp3", "flac"}) {
        const std::string coded = mDirectory.File("tone." + extension);
        Encode(mDirectory.File("tone.wav"), coded, {});
        WriteEndless(coded, ReadFile(coded));
        ChildProcess child(Command({coded, "--output", mOut}), mSetup);
        std::this_thread::sleep_for(std::chrono::seconds(1));
        child.Send(SIGINT);
        EXPECT_EQ(child.Wait().signal, SIGINT);
    }
    EXPECT_FALSE(std::filesystem::exists(mOut));
}

TEST_F(AnalyzeSignalTest, FinishedFilesKeepTheirOutputsAndTheOneAtWorkLeavesNothing) {
    WriteFloatWav(mDirectory.File("one.wav"), 48000, {Sine(48000, 48, 0.5)});
    const std::string one = OutputName(mDirectory.File("one.wav"));
    const Strings finished{one, one + "/temporal-properties.csv"};
    const std::string endless = mOut + "/" + OutputName(mEndless);
    for (const int signal : {SIGINT, SIGTERM}) {
        ChildProcess child(
            Command({mDirectory.File("one.wav"), mEndless, "--format", "csv", "--output", mOut}),
            mSetup);
        ASSERT_TRUE(Becomes([&] { return std::filesystem::exists(endless); }));
        EXPECT_GT(mDirectory.Entries("out").size(), finished.size());
        child.Send(signal);
        EXPECT_EQ(child.Wait().signal, signal);
        EXPECT_EQ(mDirectory.Entries("out"), finished);
        EXPECT_EQ(mDirectory.Entries("tmp"), Strings{});
        std::filesystem::remove_all(mOut);
    }
}

TEST_F(AnalyzeSignalTest, AnInterruptedDocumentLeavesTheOldOne) {
    WriteFloatWav(mDirectory.File("one.wav"), 48000, {Sine(48000, 48, 0.5)});
    WriteFile(mOut, "old");
    const Strings before = mDirectory.Entries();
    ChildProcess child(
        Command({mDirectory.File("one.wav"), mEndless, "--output", mOut, "--overwrite"}), mSetup);
    std::this_thread::sleep_for(std::chrono::milliseconds(1000));
    child.Send(SIGTERM);
    EXPECT_EQ(child.Wait().signal, SIGTERM);
    EXPECT_EQ(mDirectory.Entries(), before);
    EXPECT_EQ(ReadFile(mOut), "old");
}

TEST_F(AnalyzeSignalTest, ASignalThatWasIgnoredStaysIgnored) {
    // As nohup does.
    ChildProcess child({"sh", "-c", "trap '' HUP; kill -HUP $$; exec \"$0\" \"$@\"", ToolPath(),
                        "analyze", mEndless, "--output", mOut + "/x.json"},
                       mSetup);
    ASSERT_TRUE(Becomes([&] { return std::filesystem::exists(mOut); }));
    child.Send(SIGHUP);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_GT(PeakKilobytes(child.Id()), 0) << "it is still alive";
    child.Send(SIGTERM);
    EXPECT_EQ(child.Wait().signal, SIGTERM);
}

// Each rate needs kernels of its own: at these, 40 ms of processor time and more before a file of
// 50 ms is analyzed.
TEST_F(AnalyzeSignalTest, TheBeginningOfAnAnalysisDoesNotHoldASignalUp) {
    constexpr int kFiles = 60;
    constexpr double kSecondsAtMost = 1;
    const std::string out = mDirectory.File("x.json");
    std::vector<std::string> command{ToolPath(), "analyze"};
    for (int i = 0; i < kFiles; ++i) {
        command.push_back(mDirectory.File("fast" + std::to_string(i) + ".wav"));
        WriteWav(command.back(), 768000 - i, {Sine(38400, 48, 0.5)});
    }
    command.insert(command.end(), {"--keys", "constant q spectrum", "--output", out});
    for (const int signal : {SIGINT, SIGTERM}) {
        ChildProcess child(command, mSetup);
        std::this_thread::sleep_for(std::chrono::milliseconds(400));
        child.Send(signal);
        const ChildResult result = child.Wait();
        EXPECT_EQ(result.signal, signal);
        EXPECT_LT(result.processorSeconds, kSecondsAtMost);
        EXPECT_FALSE(std::filesystem::exists(out));
    }
}

TEST_F(AnalyzeSignalTest, RatesAboveAnyConvertersAreRefusedInOneLine) {
    const std::string fast = mDirectory.File("fast.wav");
    const std::string fastest = mDirectory.File("fastest.wav");
    WriteWav(fast, 768000, {Sine(4800, 48, 0.5)});
    WriteWav(fastest, 768001, {Sine(4800, 48, 0.5)});
    const ChildResult result =
        RunTool({"analyze", fast, fastest, "--keys", "temporal properties"}, mSetup);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "qel: " + fastest +
                              ": the sample rate of 768001 Hz is above the highest one, 768000 "
                              "Hz\n");
}

} // namespace
} // namespace qel::tool
