// The script of "qel batch --slurm", run by programs that stand for Slurm's. script/slurm-check
// runs it under Slurm itself.

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

class BatchSlurmTest : public testing::Test {
protected:
    BatchSlurmTest() {
        fs::create_directories(mPlace.File("it's music"));
        fs::create_directory(mPlace.File("bin"));
        AddProgram("sbatch", "echo \"$@\" >>calls; echo '41;cluster'");
        AddProgram("scontrol", "echo \"scontrol $@\" >>calls");
        AddProgram("qel", "exec '" + ToolPath() + "' \"$@\"");
    }

    void AddProgram(const std::string& name, const std::string& text) const {
        const std::string path = mPlace.File("bin/" + name);
        WriteFile(path, "#!/bin/sh\n" + text + "\n");
        fs::permissions(path, fs::perms::owner_all);
    }

    ChildResult Tool(std::vector<std::string> arguments) const {
        return RunTool(std::move(arguments), {.workingDirectory = mPlace.Path()});
    }

    void WriteScript(std::vector<std::string> options = {}) const {
        options.insert(options.begin(), {"batch", "it's music", "--out", "an $out", "--readings",
                                         "loudness", "--slurm", "3"});
        const ChildResult run = Tool(options);
        ASSERT_EQ(run.status, 0) << run.err;
        EXPECT_FALSE(fs::exists(mPlace.File("an $out")));
        WriteFile(mPlace.File("job"), run.out);
    }

    std::vector<std::string> Command(const std::string& words,
                                     const std::string& variables = "") const {
        return {"sh", "-c", "PATH=$PWD/bin:$PATH " + variables + " exec sh job " + words};
    }
    ChildResult Job(const std::string& words, const std::string& variables = "") const {
        return RunChild(Command(words, variables), {.workingDirectory = mPlace.Path()});
    }
    // Slurm gives the number of the array, 41, to its last task as well.
    static std::string Task(int index) {
        return "SLURM_ARRAY_JOB_ID=41 SLURM_JOB_ID=" + std::to_string(41 + index % 3) +
               " SLURM_ARRAY_TASK_ID=" + std::to_string(index);
    }
    // The list, and all shards.
    void RunTasks() const {
        const ChildResult list = Job("list", "SLURM_JOB_ID=40");
        EXPECT_EQ(list.status, 0) << list.err;
        for (int index = 1; index <= 3; ++index) {
            const ChildResult task = Job("shard", Task(index));
            EXPECT_EQ(task.status, 0) << task.err; // also where a file has an error
        }
    }
    std::string Calls() const {
        return fs::exists(mPlace.File("calls")) ? ReadFile(mPlace.File("calls")) : "";
    }

    TempDirectory mPlace;
};

TEST_F(BatchSlurmTest, OutsideOfSlurmTheScriptSubmitsAListAnArrayAndAMerge) {
    WriteScript();
    const ChildResult run = Job("--partition=p");
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(Calls(), "--parsable --job-name=qel-list --partition=p job list\n"
                       "--parsable --array=1-3 --dependency=afterok:41 --kill-on-invalid-dep=yes "
                       "--partition=p job shard\n"
                       "--job-name=qel-merge --dependency=afterok:41 --kill-on-invalid-dep=yes "
                       "--partition=p job merge\n");
}

TEST_F(BatchSlurmTest, TasksAndMergeMakeTheDatasetOfOneRun) {
    for (int i = 0; i < 4; ++i) {
        WriteWav(mPlace.File("it's music/song" + std::to_string(i) + ".wav"), kRateHz,
                 {Sine(kRateHz, 40 + 10 * i, 0.5)});
    }
    WriteFile(mPlace.File("it's music/bad.wav"), "no audio");
    WriteScript({"--match", "*.wav"});
    RunTasks();
    const ChildResult merge = Job("merge", "SLURM_JOB_ID=44");
    EXPECT_EQ(merge.status, 1);
    EXPECT_NE(merge.out.find("an $out: 5 files, 1 with errors\n"), std::string::npos) << merge.out;
    EXPECT_EQ(Calls(), "");
    // The settings are those of the command without Slurm, which continues the dataset.
    const ChildResult again = Tool(
        {"batch", "it's music", "--out", "an $out", "--readings", "loudness", "--match", "*.wav"});
    EXPECT_NE(again.out.find("5 files were done before"), std::string::npos)
        << again.out << again.err;
}

TEST_F(BatchSlurmTest, ASecondRunOfTheScriptRenewsTheDataset) {
    WriteWav(mPlace.File("it's music/song0.wav"), kRateHz, {Sine(kRateHz, 40, 0.5)});
    WriteScript();
    RunTasks();
    EXPECT_EQ(Job("merge", "SLURM_JOB_ID=44").out, "an $out: 1 file, 0 with errors\n");
    WriteWav(mPlace.File("it's music/song1.wav"), kRateHz, {Sine(kRateHz, 50, 0.5)});
    RunTasks();
    const ChildResult merge = Job("merge", "SLURM_JOB_ID=44");
    EXPECT_EQ(merge.out, "an $out: 2 files, 0 with errors\n") << merge.err;
    EXPECT_EQ(merge.status, 0);
}

TEST_F(BatchSlurmTest, ShardsReadTheListThatTheFirstJobHasMade) {
    WriteWav(mPlace.File("it's music/song0.wav"), kRateHz, {Sine(kRateHz, 40, 0.5)});
    WriteScript();
    const ChildResult tooEarly = Job("shard", Task(1));
    EXPECT_EQ(tooEarly.status, 2);
    EXPECT_EQ(tooEarly.err, "qel: an $out.shards/list: cannot read this list of files: No such "
                            "file or directory; make it with --list-only\n");
    EXPECT_EQ(Job("list", "SLURM_JOB_ID=40").status, 0);
    WriteWav(mPlace.File("it's music/song1.wav"), kRateHz, {Sine(kRateHz, 50, 0.5)});
    for (int index = 1; index <= 3; ++index) {
        EXPECT_EQ(Job("shard", Task(index)).status, 0);
    }
    EXPECT_EQ(Job("merge", "SLURM_JOB_ID=44").out, "an $out: 1 file, 0 with errors\n");
}

TEST_F(BatchSlurmTest, SourcesThatDoNotExistAreRefusedBeforeAScriptIsPrinted) {
    const ChildResult source = Tool({"batch", "it's no music", "--out", "ds", "--slurm", "2"});
    EXPECT_EQ(source.status, 2);
    EXPECT_EQ(source.err, "qel: it's no music: no such file or directory\n");
    EXPECT_EQ(source.out, "");
    const ChildResult list =
        Tool({"batch", "--files-from", "no list", "--out", "ds", "--slurm", "2"});
    EXPECT_EQ(list.status, 1);
    EXPECT_EQ(list.err, "qel: no list: cannot read this list: No such file or directory\n");
    EXPECT_EQ(list.out, "");
}

TEST_F(BatchSlurmTest, ATaskThatHasFailedIsBegunAgainThreeTimes) {
    WriteScript();
    AddProgram("qel", "echo 'qel: ds: No space left on device' >&2; exit 1");
    EXPECT_EQ(Job("shard", Task(1)).status, 1);
    EXPECT_EQ(Calls(), "scontrol requeue 41_1\n");
    const ChildResult last = Job("shard", Task(1) + " SLURM_RESTART_COUNT=3");
    EXPECT_EQ(last.status, 1);
    EXPECT_EQ(last.err, "qel: ds: No space left on device\n");
    EXPECT_EQ(Calls(), "scontrol requeue 41_1\n");
    AddProgram("qel", "kill -KILL $$");
    EXPECT_EQ(Job("shard", Task(2)).status, 1);
    EXPECT_EQ(Calls(), "scontrol requeue 41_1\nscontrol requeue 41_2\n");
}

TEST_F(BatchSlurmTest, TheLastTaskBeginsItselfAgainAndNotTheArray) {
    WriteScript();
    AddProgram("qel", "echo 'qel: ds: No space left on device' >&2; exit 1");
    EXPECT_EQ(Job("shard", Task(3)).status, 1);
    EXPECT_EQ(Calls(), "scontrol requeue 41_3\n");
}

TEST_F(BatchSlurmTest, AListSubmittedByATaskOfAnotherArrayBeginsItselfAgain) {
    WriteScript();
    AddProgram("qel", "echo 'qel: list: No space left on device' >&2; exit 1");
    EXPECT_EQ(Job("list", "SLURM_ARRAY_JOB_ID=7 SLURM_ARRAY_TASK_ID=2 SLURM_JOB_ID=40").status, 1);
    EXPECT_EQ(Calls(), "scontrol requeue 40\n");
}

TEST_F(BatchSlurmTest, AListWithoutFilesIsSaidOnceAndNotMadeAgain) {
    fs::create_directory(mPlace.File("silence"));
    const ChildResult script = Tool({"batch", "silence", "--out", "an $out", "--slurm", "3"});
    WriteFile(mPlace.File("job"), script.out);
    const ChildResult list = Job("list", "SLURM_JOB_ID=40");
    EXPECT_EQ(list.status, 1);
    EXPECT_EQ(
        list.err,
        "qel: silence: no file there has an extension of audio files; --match '*' takes all files\n");
    EXPECT_EQ(Calls(), "");
}

TEST_F(BatchSlurmTest, AListThatCannotBeWrittenIsMadeAgain) {
    WriteWav(mPlace.File("it's music/song.wav"), kRateHz, {Sine(kRateHz, 40, 0.5)});
    WriteScript();
    ASSERT_EQ(Job("list", "SLURM_JOB_ID=40").status, 0); // by an earlier run
    AddProgram("qel", "echo 'qel: list: No space left on device' >&2; exit 1");
    EXPECT_EQ(Job("list", "SLURM_JOB_ID=40").status, 1);
    EXPECT_EQ(Calls(), "scontrol requeue 40\n");
}

TEST_F(BatchSlurmTest, ATaskWhoseMessageDoesNotFitOnTheDiskIsNotTakenForComplete) {
    WriteScript();
    AddProgram("qel", "echo 'qel: ds: No space left on device' >&2; exit 1");
    AddProgram("mktemp", "ln -s /dev/full errors; echo errors");
    EXPECT_EQ(Job("shard", Task(1)).status, 1);
    EXPECT_EQ(Calls(), "scontrol requeue 41_1\n");
    EXPECT_FALSE(fs::is_symlink(mPlace.File("errors"))) << "each attempt would leave a file";
}

TEST_F(BatchSlurmTest, ATaskThatIsKilledLeavesNoTemporaryFile) {
    WriteScript();
    fs::create_directory(mPlace.File("tmp"));
    // It ends with the directory as well, which the end of the test may remove first.
    AddProgram("qel", "echo >begun; while [ -e begun ] && [ ! -e stop ]; do sleep 0.01; done");
    ChildProcess task(Command("shard", "TMPDIR=$PWD/tmp " + Task(1)),
                      {.workingDirectory = mPlace.Path()});
    while (!fs::exists(mPlace.File("begun"))) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    task.Send(SIGKILL);
    WriteFile(mPlace.File("stop"), "");
    task.Wait();
    EXPECT_TRUE(fs::is_empty(mPlace.File("tmp")));
}

TEST_F(BatchSlurmTest, ARefusedCommandIsNotTriedAgain) {
    WriteScript();
    AddProgram("qel", "echo 'qel: ds: was made with other settings' >&2; exit 2");
    EXPECT_EQ(Job("shard", Task(1)).status, 2);
    EXPECT_EQ(Calls(), "");
}

TEST_F(BatchSlurmTest, ATaskAtItsTimeLimitEndsTheToolAndIsBegunAgain) {
    WriteScript();
    AddProgram("qel", "trap 'echo ended >ended; exit 143' TERM; echo >begun; "
                      "while :; do sleep 0.01; done");
    ChildProcess task(Command("shard", Task(1)), {.workingDirectory = mPlace.Path()});
    while (!fs::exists(mPlace.File("begun"))) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    task.Send(SIGUSR1);
    EXPECT_EQ(task.Wait().status, 1);
    EXPECT_EQ(ReadFile(mPlace.File("ended")), "ended\n");
    EXPECT_EQ(Calls(), "scontrol requeue 41_1\n");
}

TEST_F(BatchSlurmTest, ShardsAreBesideADatasetThatEndsWithASlash) {
    const ChildResult run = Tool({"batch", "it's music", "--out", "sets/one//", "--slurm", "2"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("\nout='sets/one'\n"), std::string::npos) << run.out;
    for (const char* const out : {".", "..", "sets/.", "/"}) {
        EXPECT_EQ(Tool({"batch", "it's music", "--out", out, "--slurm", "2"}).status, 2) << out;
    }
}

TEST_F(BatchSlurmTest, OptionsWithoutSenseInAScriptAreRefused) {
    for (const std::vector<std::string>& options : {std::vector<std::string>{"--shard", "1/2"},
                                                    {"--files-from", "-"},
                                                    {"--keys", "tunes"},
                                                    {"--list", "list"},
                                                    {"--list-only"}}) {
        std::vector<std::string> all{"batch", "it's music", "--out", "ds", "--slurm", "2"};
        all.insert(all.end(), options.begin(), options.end());
        const ChildResult run = Tool(all);
        EXPECT_EQ(run.status, 2) << options[0];
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(std::ranges::count(run.err, '\n'), 1) << run.err;
    }
}

} // namespace
} // namespace qel
