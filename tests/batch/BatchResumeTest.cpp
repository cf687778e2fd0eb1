// Runs that go on where others have stopped.

#include "batch/dataset/Dataset.h"
#include "batch/dataset/Part.h"
#include "output/files/OutputError.h"
#include "tests/batch/FakeRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace qel {

using namespace test;

namespace {

namespace fs = std::filesystem;

using Names = std::vector<std::string>;

void AddFiles(const FakeRun& run, int count, const std::string& what) {
    for (int i = 0; i < count; ++i) {
        run.Add("file" + std::to_string(100 + i), what + ' ' + std::to_string(i));
    }
}

std::size_t PartsLeft(const FakeRun& run) {
    std::size_t count = 0;
    for ([[maybe_unused]] const auto& entry : fs::directory_iterator(run.Dataset() + "/parts")) {
        ++count;
    }
    return count;
}

// How many rows the parts of a dataset have.
std::size_t RowsInParts(const FakeRun& run) {
    std::size_t rows = 0;
    for (const auto& entry : fs::directory_iterator(run.Dataset() + "/parts")) {
        batch::Part::Read(entry.path().string(),
                          [&](const batch::Row& row) { rows += row.contains("begun") ? 0 : 1; });
    }
    return rows;
}

void WaitForRows(const FakeRun& run, std::size_t rows) {
    for (int i = 0; i < 5000; ++i) {
        if (fs::exists(run.Dataset() + "/parts") && RowsInParts(run) >= rows) {
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    FAIL() << "the run has not come to " << rows << " rows";
}

TEST(BatchResumeTest, ASecondRunAnalyzesNothing) {
    const FakeRun run;
    AddFiles(run, 5, "ok");
    batch::RunBatch(run.Setup());
    EXPECT_EQ(run.Begun().size(), 5u);
    const std::string tables = ReadFile(batch::Dataset::TablesOf(run.Dataset()));
    batch::RunBatch(run.Setup());
    EXPECT_TRUE(run.Begun().empty());
    EXPECT_EQ(ReadFile(batch::Dataset::TablesOf(run.Dataset())), tables);
    EXPECT_EQ(PartsLeft(run), 0u);
}

TEST(BatchResumeTest, AKilledRunGoesOnWithWhatWasNotFinished) {
    const FakeRun run;
    AddFiles(run, 40, "slow");
    batch::RunBatch(run.Setup("undisturbed"));
    run.Begun();
    const pid_t driver = InChild([&] { batch::RunBatch(run.Setup()); });
    WaitForRows(run, 5);
    kill(driver, SIGKILL);
    EXPECT_TRUE(WIFSIGNALED(WaitFor(driver)));
    EXPECT_FALSE(fs::exists(batch::Dataset::TablesOf(run.Dataset())));
    const std::size_t done = RowsInParts(run);
    run.Begun();
    const batch::BatchReport report = batch::RunBatch(run.Setup());
    EXPECT_EQ(report.state.known, static_cast<std::int64_t>(done));
    EXPECT_EQ(run.Begun().size(), 40 - done);
    EXPECT_GE(report.begunOnly, 1);
    EXPECT_LE(report.begunOnly, 2) << "as many as there were workers";
    EXPECT_EQ(run.Rows(), run.Rows("undisturbed"));
    EXPECT_EQ(PartsLeft(run), 0u);
}

TEST(BatchResumeTest, ARunThatWasGivenUpMayGoOnBesideItsSuccessor) {
    const FakeRun run;
    AddFiles(run, 30, "slow");
    batch::RunBatch(run.Setup("undisturbed"));
    const pid_t orphan = InChild([&] { batch::RunBatch(run.Setup()); });
    WaitForRows(run, 3);
    kill(orphan, SIGSTOP);
    batch::RunBatch(run.Setup());
    const auto rows = run.Rows();
    kill(orphan, SIGCONT);
    WaitFor(orphan);
    EXPECT_EQ(rows, run.Rows("undisturbed"));
    EXPECT_EQ(run.Rows(), rows);
    batch::RunBatch(run.Setup());
    EXPECT_EQ(run.Rows(), rows);
    EXPECT_EQ(PartsLeft(run), 0u);
}

TEST(BatchResumeTest, TwoRunsAtOnceMakeOneDataset) {
    const FakeRun run;
    AddFiles(run, 20, "slow");
    batch::RunBatch(run.Setup("undisturbed"));
    const pid_t first = InChild([&] { batch::RunBatch(run.Setup()); });
    const pid_t second = InChild([&] { batch::RunBatch(run.Setup()); });
    WaitFor(first);
    WaitFor(second);
    batch::RunBatch(run.Setup());
    EXPECT_EQ(run.Rows(), run.Rows("undisturbed"));
}

TEST(BatchResumeTest, AWorkerThatIsKilledCostsNoRow) {
    const FakeRun run;
    AddFiles(run, 20, "slow");
    batch::RunBatch(run.Setup("undisturbed"));
    const pid_t driver = InChild([&] { batch::RunBatch(run.Setup()); });
    WaitForRows(run, 3);
    const std::string list = "/proc/" + std::to_string(driver) + "/task/" + std::to_string(driver);
    std::istringstream workers(ReadFile(list + "/children"));
    pid_t worker = 0;
    ASSERT_TRUE(workers >> worker);
    kill(worker, SIGKILL);
    EXPECT_EQ(WaitFor(driver), 0);
    EXPECT_EQ(run.Rows(), run.Rows("undisturbed"));
}

TEST(BatchResumeTest, ChangedNewAndMissingFilesAreFound) {
    const FakeRun run;
    AddFiles(run, 4, "ok");
    batch::RunBatch(run.Setup());
    run.Begun();
    run.Add("file101", "ok another length");
    run.Add("new", "ok");
    fs::remove(run.Path("file102"));
    fs::last_write_time(run.Path("file103"),
                        fs::file_time_type::clock::now() - std::chrono::hours(1));
    batch::RunBatch(run.Setup());
    Names begun = run.Begun();
    std::ranges::sort(begun);
    EXPECT_EQ(begun, (Names{"file101", "file103", "new"}));
    const auto rows = run.Rows();
    EXPECT_EQ(rows.size(), 4u);
    EXPECT_FALSE(rows.contains("file102"));
    EXPECT_EQ(rows.at("file101").at("readings").at("content"), "ok another length");
}

TEST(BatchResumeTest, WithHashesContentDecidesWhatHasChanged) {
    const FakeRun run;
    AddFiles(run, 3, "ok");
    batch::BatchSetup setup = run.Setup();
    setup.hashes = true;
    batch::RunBatch(setup);
    run.Begun();
    // SHA-256 of "ok 0", computed with sha256sum.
    EXPECT_EQ(batch::TextOf(run.WholeRow("file100"), "hash"),
              "3b626360a6d43f87422e9caf4ab97966b2cc0f2525732849a44a7203f46546bb");
    const auto time = fs::last_write_time(run.Path("file101"));
    run.Add("file101", "ok x"); // the same size
    fs::last_write_time(run.Path("file101"), time);
    fs::last_write_time(run.Path("file102"), time - std::chrono::hours(1));
    batch::RunBatch(setup);
    EXPECT_EQ(run.Begun(), Names{"file101"});
    EXPECT_EQ(run.Rows().at("file101").at("readings").at("content"), "ok x");
}

TEST(BatchResumeTest, ArraysThatAreMissingOrCutAreMadeAgain) {
    const FakeRun run;
    AddFiles(run, 3, "ok");
    batch::RunBatch(run.Setup());
    const auto rows = run.Rows();
    run.Begun();
    const auto arrays = [&](const char* name) {
        return run.Dataset() + '/' + batch::TextOf(rows.at(name), "arrays");
    };
    fs::remove(arrays("file100"));
    fs::resize_file(arrays("file102"), 10);
    batch::RunBatch(run.Setup());
    Names begun = run.Begun();
    std::ranges::sort(begun);
    EXPECT_EQ(begun, (Names{"file100", "file102"}));
    EXPECT_EQ(run.Rows(), rows);
    EXPECT_EQ(fs::file_size(arrays("file102")), rows.at("file102").at("arrays_bytes"));
}

// A run that comes to its tables and goes no further.
pid_t RunThatWritesTables(const OneFileDataset& dataset) {
    const pid_t run = InChild([&] { dataset.Publish([] { pause(); }); });
    const std::string tables = dataset->Parts() + "/attempt.sqlite";
    for (int i = 0; i < 5000 && !fs::exists(tables); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    EXPECT_TRUE(fs::exists(tables));
    return run;
}

TEST(BatchResumeTest, TablesOfAKilledRunAreRemovedWhenTheNextRunBegins) {
    const OneFileDataset dataset;
    const pid_t writing = RunThatWritesTables(dataset);
    kill(writing, SIGKILL);
    EXPECT_TRUE(WIFSIGNALED(WaitFor(writing)));
    EXPECT_FALSE(dataset->PartNames().empty()) << "nothing was left";
    dataset->Begin();
    EXPECT_EQ(dataset->PartNames(), Names());
}

TEST(BatchResumeTest, TablesThatAnotherRunIsWritingStayWhenARunBegins) {
    const OneFileDataset dataset;
    const pid_t writing = RunThatWritesTables(dataset);
    const Names before = dataset->PartNames();
    dataset->Begin();
    EXPECT_EQ(dataset->PartNames(), before);
    kill(writing, SIGKILL);
    WaitFor(writing);
}

// An earlier version left tables without a lock.
TEST(BatchResumeTest, ARunThatComesToNoEndHasRemovedTheTablesOfAKilledOne) {
    const FakeRun run;
    run.Add("a", "hang");
    const std::string left = run.Dataset() + "/parts/killed.sqlite";
    fs::create_directories(run.Dataset() + "/parts");
    WriteFile(left, std::string(100, 'x'));
    const pid_t driver = InChild([&] { batch::RunBatch(run.Setup()); });
    for (int i = 0; i < 5000 && run.Begun().empty(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    EXPECT_FALSE(fs::exists(left));
    kill(driver, SIGKILL);
    WaitFor(driver);
}

TEST(BatchResumeTest, APartThatWasCutAnywhereKeepsItsWholeRecords) {
    const TempDirectory place;
    std::string path;
    std::vector<std::uintmax_t> ends{0};
    {
        batch::Part part("dataset", place.Path(), "attempt");
        path = part.Path();
        for (int i = 0; i < 4; ++i) {
            part.Add({{"path", "p" + std::to_string(i)}, {"text", std::string(20, '\xff')}});
            ends.push_back(fs::file_size(path));
        }
    }
    for (std::uintmax_t size = ends.back() + 1; size-- > 0;) {
        fs::resize_file(path, size);
        std::size_t whole = 0;
        while (whole + 1 < ends.size() && ends[whole + 1] <= size) {
            ++whole;
        }
        std::size_t read = 0;
        batch::Part::Read(path, [&](const batch::Row& row) {
            EXPECT_EQ(batch::TextOf(row, "path"), "p" + std::to_string(read));
            ++read;
        });
        EXPECT_EQ(read, whole) << size;
    }
}

TEST(BatchResumeTest, APartWithWrongBytesEndsBeforeThem) {
    const TempDirectory place;
    batch::Part part("dataset", place.Path(), "attempt");
    part.Add({{"path", "first"}});
    const std::uintmax_t first = fs::file_size(part.Path());
    part.Add({{"path", "second"}});
    std::string bytes = ReadFile(part.Path());
    for (std::size_t at = first; at < bytes.size(); ++at) {
        std::string damaged = bytes;
        damaged[at] = static_cast<char>(damaged[at] ^ 0x10);
        WriteFile(place.File("damaged"), damaged);
        Names read;
        batch::Part::Read(place.File("damaged"), [&](const batch::Row& row) {
            read.push_back(batch::TextOf(row, "path"));
        });
        EXPECT_EQ(read, Names{"first"}) << at;
    }
}

} // namespace
} // namespace qel
