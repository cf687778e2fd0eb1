// Parts of a list, and what they are joined to.

#include "batch/Refusal.h"
#include "batch/dataset/Merge.h"
#include "output/files/OutputError.h"
#include "tests/batch/FakeRun.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <filesystem>

namespace qel {

using namespace test;

namespace {

class BatchShardsTest : public testing::Test {
protected:
    void AddFiles(int count) {
        for (int i = 0; i < count; ++i) {
            mRun.Add(fmt::format("d{}/file{:02}", i % 3, i),
                     i % 5 == 2 ? "error" : "ok " + std::to_string(i));
        }
    }

    batch::BatchSetup Shard(std::int64_t index, std::int64_t count) {
        batch::BatchSetup setup = mRun.Setup(fmt::format("shard{}", index));
        setup.shard = {index, count};
        setup.settings.Replace(batch::Settings::kShard, fmt::format("{}/{}", index, count));
        return setup;
    }

    std::string Refused(const std::vector<std::string>& names) {
        std::vector<std::string> paths;
        for (const std::string& name : names) {
            paths.push_back(mRun.Dataset(name));
        }
        try {
            batch::Merge(paths, mRun.Dataset("merged"));
        } catch (const batch::Refusal& refusal) {
            EXPECT_FALSE(std::filesystem::exists(mRun.Dataset("merged")));
            return refusal.what();
        }
        return "nothing was refused";
    }

    FakeRun mRun;
};

TEST_F(BatchShardsTest, JoinedShardsAreTheDatasetOfOneRun) {
    AddFiles(17);
    batch::RunBatch(mRun.Setup("whole"));
    std::size_t files = 0;
    for (int i = 1; i <= 4; ++i) {
        batch::RunBatch(Shard(i, 4));
        const std::size_t rows = mRun.Rows(fmt::format("shard{}", i)).size();
        EXPECT_GE(rows, 4u);
        EXPECT_LE(rows, 5u);
        files += rows;
    }
    EXPECT_EQ(files, 17u);
    batch::Merge({mRun.Dataset("shard3"), mRun.Dataset("shard1"), mRun.Dataset("shard4"),
                  mRun.Dataset("shard2")},
                 mRun.Dataset("merged"));
    EXPECT_EQ(mRun.Rows("merged"), mRun.Rows("whole"));
    EXPECT_EQ(ReadFile(mRun.Dataset("merged/settings")), ReadFile(mRun.Dataset("whole/settings")));
    for (const auto& [name, row] : mRun.Rows("whole")) {
        const std::string arrays = batch::TextOf(row, "arrays");
        if (!arrays.empty()) {
            EXPECT_EQ(ReadFile(mRun.Dataset("merged/" + arrays)),
                      ReadFile(mRun.Dataset("whole/" + arrays)));
        }
    }
    mRun.Begun();
    batch::RunBatch(mRun.Setup("merged"));
    EXPECT_TRUE(mRun.Begun().empty()) << "a run without shards goes on with it";
}

// A full disk, for one, can be mended: this is no wrong command, and its status is not 2.
TEST_F(BatchShardsTest, ArraysThatCannotBeCopiedAreAFaultOfTheOutput) {
    AddFiles(2);
    batch::RunBatch(Shard(1, 1));
    std::filesystem::create_directories(mRun.Dataset("merged/parts"));
    WriteFile(mRun.Dataset("merged/arrays"), "no directory");
    WriteFile(mRun.Dataset("merged/parts/killed.sqlite"), std::string(100, 'x'));
    try {
        batch::Merge({mRun.Dataset("shard1")}, mRun.Dataset("merged"));
        ADD_FAILURE() << "there is no place for arrays";
    } catch (const output::OutputError& error) {
        EXPECT_NE(std::string(error.what()).find(mRun.Dataset("merged") + ": "), std::string::npos)
            << error.what();
    }
    EXPECT_TRUE(std::filesystem::is_empty(mRun.Dataset("merged/parts")))
        << "tables of a killed merge are removed before new ones are written";
}

TEST_F(BatchShardsTest, MoreShardsThanFilesAreFine) {
    AddFiles(2);
    std::vector<std::string> shards;
    for (int i = 1; i <= 4; ++i) {
        batch::RunBatch(Shard(i, 4));
        shards.push_back(mRun.Dataset(fmt::format("shard{}", i)));
    }
    batch::RunBatch(mRun.Setup("whole"));
    batch::Merge(shards, mRun.Dataset("merged"));
    EXPECT_EQ(mRun.Rows("merged"), mRun.Rows("whole"));
}

TEST_F(BatchShardsTest, RowsDoNotDependOnJobsAndTheOrderOfSources) {
    AddFiles(12);
    batch::BatchSetup one = mRun.Setup("one");
    one.jobs = 1;
    one.sources = {mRun.Path("d0"), mRun.Path("d1"), mRun.Path("d2")};
    batch::BatchSetup four = mRun.Setup("four");
    four.jobs = 4;
    four.sources = {mRun.Path("d2"), mRun.Path("d1"), mRun.Path("d0"), mRun.Path("d1")};
    batch::RunBatch(one);
    batch::RunBatch(four);
    EXPECT_EQ(mRun.Rows("one"), mRun.Rows("four"));
    EXPECT_EQ(mRun.Rows("one").size(), 12u);
}

TEST_F(BatchShardsTest, AMissingShardIsNamed) {
    AddFiles(6);
    batch::RunBatch(Shard(1, 3));
    batch::RunBatch(Shard(3, 3));
    EXPECT_EQ(Refused({"shard1", "shard3"}), "shard 2/3 is missing");
}

TEST_F(BatchShardsTest, AShardThatIsThereTwiceIsNamed) {
    AddFiles(6);
    batch::RunBatch(Shard(1, 2));
    batch::RunBatch(Shard(2, 2));
    EXPECT_EQ(Refused({"shard1", "shard2", "shard1"}),
              fmt::format("shard 1/2 is both {0} and {0}", mRun.Dataset("shard1")));
}

TEST_F(BatchShardsTest, ShardsOfDifferentListsAreRefused) {
    AddFiles(6);
    batch::RunBatch(Shard(1, 2));
    mRun.Add("late", "ok");
    batch::RunBatch(Shard(2, 2));
    EXPECT_EQ(
        Refused({"shard1", "shard2"}),
        fmt::format("{} and {}: were made from different lists, of 6 and 7 files; run both again",
                    mRun.Dataset("shard1"), mRun.Dataset("shard2")));
}

TEST_F(BatchShardsTest, ShardsWithDifferentSettingsAreRefused) {
    AddFiles(6);
    batch::RunBatch(Shard(1, 2));
    batch::BatchSetup second = Shard(2, 2);
    second.settings.Replace("--keys", "other");
    batch::RunBatch(second);
    EXPECT_EQ(Refused({"shard1", "shard2"}),
              fmt::format("{} and {}: have different settings: --keys \"content\", "
                          "not \"other\"",
                          mRun.Dataset("shard1"), mRun.Dataset("shard2")));
}

TEST_F(BatchShardsTest, AShardThatIsNotCompleteIsNamed) {
    AddFiles(6);
    batch::RunBatch(Shard(1, 2));
    batch::RunBatch(Shard(2, 2));
    std::filesystem::remove(mRun.Dataset("shard2/dataset.sqlite"));
    EXPECT_EQ(Refused({"shard1", "shard2"}),
              mRun.Dataset("shard2") + ": is not complete; run its command again");
    EXPECT_EQ(Refused({"shard1", "music"}),
              mRun.Dataset("music") + ": is no dataset: it has no readable file \"settings\"");
}

TEST_F(BatchShardsTest, ADatasetOfAnotherLayoutIsRefused) {
    AddFiles(2);
    batch::RunBatch(mRun.Setup("shard1"));
    WriteFile(mRun.Dataset("shard1/settings"), "qel dataset 2\n--keys\tcontent\n");
    const std::string told = mRun.Dataset("shard1") +
                             ": its settings are damaged, or those of another version of qel; use "
                             "that version, or name another dataset";
    EXPECT_EQ(Refused({"shard1"}), told);
    try {
        batch::RunBatch(mRun.Setup("shard1"));
        FAIL() << "nothing was refused";
    } catch (const batch::Refusal& refusal) {
        EXPECT_EQ(refusal.what(), told);
    }
}

TEST_F(BatchShardsTest, AnotherVersionIsSaidToBeOne) {
    AddFiles(1);
    batch::BatchSetup setup = mRun.Setup();
    setup.settings.Add(batch::Settings::kVersion, "0.0.9");
    batch::RunBatch(setup);
    setup.settings.Replace(batch::Settings::kVersion, "0.1.0");
    try {
        batch::RunBatch(setup);
        FAIL() << "nothing was refused";
    } catch (const batch::Refusal& refusal) {
        EXPECT_EQ(refusal.what(), mRun.Dataset() +
                                      ": was made with qel \"0.0.9\", not \"0.1.0\"; use that "
                                      "version, or name another dataset");
    }
}

TEST_F(BatchShardsTest, OtherSettingsAreRefusedInOneLineAndChangeNothing) {
    AddFiles(3);
    batch::RunBatch(mRun.Setup());
    const std::string tables = ReadFile(mRun.Dataset("dataset/dataset.sqlite"));
    batch::BatchSetup other = mRun.Setup();
    other.settings.Replace("--keys", "other");
    try {
        batch::RunBatch(other);
        FAIL() << "nothing was refused";
    } catch (const batch::Refusal& refusal) {
        EXPECT_EQ(refusal.what(),
                  mRun.Dataset() + ": was made with --keys \"content\", not \"other\"; repeat its "
                                   "options, or name another dataset");
    }
    EXPECT_EQ(ReadFile(mRun.Dataset("dataset/dataset.sqlite")), tables);
}

TEST_F(BatchShardsTest, ADirectoryWithSomethingElseIsRefused) {
    AddFiles(1);
    batch::BatchSetup setup = mRun.Setup("music");
    EXPECT_THROW(batch::RunBatch(setup), batch::Refusal);
}

} // namespace
} // namespace qel
