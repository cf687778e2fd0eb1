// Files that cost their worker, and what a run makes of them.

#include "output/files/OutputError.h"
#include "tests/batch/FakeRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <sys/resource.h>

namespace qel {

using namespace test;

namespace {

void AddGoodFiles(const FakeRun& run) {
    for (const char* name : {"a", "b", "y", "z"}) {
        run.Add(name, "ok " + std::string(name));
    }
}

// One file of this kind among four good ones has its row, in the second try, and they have theirs.
void RequireAlone(FakeRun& run, const batch::BatchSetup& setup, const std::string& status,
                  const std::string& error) {
    AddGoodFiles(run);
    batch::RunBatch(setup);
    const batch::Row row = run.WholeRow("m");
    EXPECT_EQ(batch::TextOf(row, "status"), status);
    EXPECT_NE(batch::TextOf(row, "error").find(error), std::string::npos) << row.at("error");
    EXPECT_EQ(row.at("tries"), 2);
    for (const char* name : {"a", "b", "y", "z"}) {
        EXPECT_EQ(batch::TextOf(run.WholeRow(name), "status"), "ok") << name;
    }
    const std::vector<std::string> begun = run.Begun();
    EXPECT_EQ(std::ranges::count(begun, "m"), 2);
    ASSERT_FALSE(begun.empty());
    EXPECT_EQ(begun.back(), "m") << "the second try comes when all others are done";
}

TEST(BatchFaultsTest, AFileThatCrashesItsWorkerCostsItselfAlone) {
    FakeRun run;
    run.Add("m", "crash");
    RequireAlone(run, run.Setup(), "crash", "signal 11");
}

TEST(BatchFaultsTest, ADatasetThatIsRemovedDuringTheRunIsSaid) {
    FakeRun run;
    run.Add("a", "ok");
    batch::BatchSetup setup = run.Setup();
    setup.work.passes = {[&](const std::string&, batch::Row&, std::vector<output::Array>&) {
        std::filesystem::remove_all(run.Dataset());
    }};
    try {
        batch::RunBatch(setup);
        ADD_FAILURE() << "there are no tables";
    } catch (const output::OutputError& error) {
        EXPECT_EQ(std::string(error.what()),
                  run.Dataset() + ": it was removed meanwhile; run the command again");
    }
    EXPECT_FALSE(std::filesystem::exists(run.Dataset()));
}

TEST(BatchFaultsTest, TablesThatCouldNotBeWrittenLeaveNothing) {
    const OneFileDataset dataset;
    EXPECT_THROW(dataset.Publish([] { throw output::OutputError("the disk is full"); }),
                 output::OutputError);
    EXPECT_TRUE(dataset->PartNames().empty());
}

TEST(BatchFaultsTest, AFileThatHangsCostsItselfAlone) {
    FakeRun run;
    run.Add("m", "hang");
    batch::BatchSetup setup = run.Setup();
    setup.limits.seconds = 0.3;
    RequireAlone(run, setup, "time", "took longer than 0.3 s");
}

void RequireTooMuchMemory(const char* what) {
    FakeRun run;
    run.Add("m", what);
    batch::BatchSetup setup = run.Setup();
    setup.limits.memoryBytes = std::uint64_t{200} << 20;
    RequireAlone(run, setup, "memory", "needs more than 200 MiB");
}

TEST(BatchFaultsTest, AFileThatTakesTooMuchMemoryCostsItselfAlone) {
    if (QEL_SANITIZED) {
        GTEST_SKIP() << "a checker's own memory is above any limit";
    }
    RequireTooMuchMemory("memory");
}

// What a system allows at first is often 1024 descriptors, and a worker has two.
TEST(BatchFaultsTest, MoreJobsThanDescriptorsAreAllowedAtFirstAreFine) {
    const FakeRun run;
    for (int i = 0; i < 60; ++i) {
        run.Add("file" + std::to_string(i), "slow " + std::to_string(i));
    }
    batch::BatchSetup setup = run.Setup();
    setup.jobs = 60;
    const pid_t driver = InChild([&] {
        rlimit limit{};
        getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = 64;
        setrlimit(RLIMIT_NOFILE, &limit);
        batch::RunBatch(setup);
    });
    EXPECT_EQ(WaitFor(driver), 0);
    EXPECT_EQ(run.Rows().size(), 60u);
}

TEST(BatchFaultsTest, TooManyJobsForTheSystemAreSaidWithWhatToDo) {
    const FakeRun run;
    for (int i = 0; i < 60; ++i) {
        run.Add("file" + std::to_string(i), "slow");
    }
    batch::BatchSetup setup = run.Setup();
    setup.jobs = 60;
    const pid_t driver = InChild([&] {
        const rlimit limit{64, 64};
        setrlimit(RLIMIT_NOFILE, &limit);
        try {
            batch::RunBatch(setup);
        } catch (const output::OutputError& error) {
            test::WriteFile(run.Dataset("told"), error.what());
        }
    });
    EXPECT_EQ(WaitFor(driver), 0);
    EXPECT_EQ(test::ReadFile(run.Dataset("told")),
              "cannot make a worker: Too many open files; repeat the command with fewer --jobs");
}

TEST(BatchFaultsTest, AFileThatLeavesNoByteOfMemoryIsSaidToNeedTooMuch) {
    if (QEL_SANITIZED) {
        GTEST_SKIP() << "a checker's own memory is above any limit";
    }
    RequireTooMuchMemory("exhaust");
}

TEST(BatchFaultsTest, AFaultThatIsToldWhenMemoryIsOutIsNotBlamedOnTheFile) {
    if (QEL_SANITIZED) {
        GTEST_SKIP() << "a checker's own memory is above any limit";
    }
    RequireTooMuchMemory("blame");
}

TEST(BatchFaultsTest, AFileThatCrashesOnceIsAnalyzedInTheSecondTry) {
    FakeRun run;
    run.Add("m", "crash-once");
    run.Add("n", "ok");
    batch::RunBatch(run.Setup());
    EXPECT_EQ(batch::TextOf(run.WholeRow("m"), "status"), "ok");
    EXPECT_EQ(run.WholeRow("m").at("tries"), 2);
    EXPECT_EQ(run.WholeRow("n").at("tries"), 1);
}

TEST(BatchFaultsTest, AFileWithAnErrorHasARowAndIsNotTriedAgain) {
    FakeRun run;
    AddGoodFiles(run);
    run.Add("m", "error");
    const batch::BatchReport report = batch::RunBatch(run.Setup());
    const batch::Row row = run.WholeRow("m");
    EXPECT_EQ(batch::TextOf(row, "status"), "not audio");
    EXPECT_EQ(batch::TextOf(row, "error"), "is no audio file");
    EXPECT_TRUE(row.at("duration_seconds").is_null());
    EXPECT_TRUE(row.at("readings").at("content").is_null());
    ASSERT_EQ(report.statuses.size(), 2u);
    EXPECT_EQ(report.statuses[0].files, 4);
    EXPECT_EQ(report.statuses[1].status, "not audio");
    EXPECT_EQ(report.statuses[1].path, run.Path("m"));
    run.Begun();
    batch::RunBatch(run.Setup());
    EXPECT_TRUE(run.Begun().empty());
}

TEST(BatchFaultsTest, ErrorsAreTriedAgainWhereThisIsAskedFor) {
    FakeRun run;
    AddGoodFiles(run);
    run.Add("m", "crash-once");
    batch::BatchSetup setup = run.Setup();
    run.Add("e", "error");
    batch::RunBatch(setup);
    run.Begun();
    setup.retriesErrors = true;
    batch::RunBatch(setup);
    EXPECT_EQ(run.Begun(), std::vector<std::string>{"e"});
}

TEST(BatchFaultsTest, ARunEndsWithItsLastFileThoughMoreWorkersWait) {
    FakeRun run;
    AddGoodFiles(run);
    batch::BatchSetup setup = run.Setup();
    setup.jobs = 6;
    const auto begin = std::chrono::steady_clock::now();
    batch::RunBatch(setup);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    EXPECT_LT(took.count(), 15.0) << "a driver that waits for idle workers waits for a minute";
}

TEST(BatchFaultsTest, EveryFileMayCrashItsWorker) {
    FakeRun run;
    for (int i = 0; i < 6; ++i) {
        run.Add("c" + std::to_string(i), "crash");
    }
    batch::RunBatch(run.Setup());
    EXPECT_EQ(run.Rows().size(), 6u);
    EXPECT_EQ(run.Begun().size(), 12u);
}

TEST(BatchFaultsTest, AWorkerWhoseProcessIsSpentGetsNoOtherFile) {
    FakeRun run;
    for (const char* name : {"a", "b", "c", "d"}) {
        run.Add(name, "spend");
    }
    batch::BatchSetup setup = run.Setup();
    setup.jobs = 1;
    batch::RunBatch(setup);
    for (const char* name : {"a", "b", "c", "d"}) {
        const batch::Row row = run.WholeRow(name);
        EXPECT_EQ(row.at("readings").at("content"), "1") << name;
        EXPECT_EQ(row.at("tries"), 1) << name;
    }
}

// The first pass spends the process. The second says how many passes its process has done.
TEST(BatchFaultsTest, TheSecondPassOfAFileThatSpendsItsProcessHasANewOne) {
    FakeRun run;
    run.Add("a", "spend");
    run.Add("b", "ok");
    run.Add("m", "crash-once");
    batch::BatchSetup setup = run.Setup();
    setup.jobs = 1;
    setup.hashes = true;
    setup.work.passes.push_back([passes = 0](const std::string&, batch::Row& row,
                                             std::vector<output::Array>&) mutable {
        ++passes;
        row["codec"] = batch::TextOf(row.at("readings"), "content") + ", " + std::to_string(passes);
        if (row.at("readings").at("content") == "1") {
            FakeRun::Spend();
        }
    });
    batch::RunBatch(setup);
    EXPECT_EQ(batch::TextOf(run.WholeRow("a"), "codec"), "1, 1");
    EXPECT_EQ(batch::TextOf(run.WholeRow("b"), "codec"), "ok, 1") << "b has the worker after a's";
    EXPECT_EQ(run.Begun(), (std::vector<std::string>{"a", "b", "m", "m"}));
    const batch::Row row = run.WholeRow("a");
    EXPECT_FALSE(batch::TextOf(row, "arrays").empty());
    EXPECT_EQ(batch::TextOf(row, "hash").size(), 64u);
    EXPECT_EQ(batch::TextOf(row, "status"), "ok");
}

} // namespace
} // namespace qel
