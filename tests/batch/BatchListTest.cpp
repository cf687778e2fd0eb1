// Lists of files as a file, from which shards read their parts.

#include "batch/Refusal.h"
#include "batch/dataset/FileList.h"
#include "batch/dataset/Merge.h"
#include "output/files/OutputError.h"
#include "tests/batch/FakeRun.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <filesystem>

namespace qel {

using namespace test;

namespace {

namespace fs = std::filesystem;

constexpr int kShards = 3;

class BatchListTest : public testing::Test {
protected:
    void AddFiles(int count) {
        for (int i = 0; i < count; ++i) {
            mRun.Add(fmt::format("d{}/file{:02}", i % 3, i), "ok " + std::to_string(i));
        }
    }

    std::int64_t MakeList() {
        batch::BatchSetup setup = mRun.Setup("list");
        setup.settings.Add("sources", mRun.Path(""));
        return batch::ListFiles(setup);
    }

    batch::BatchSetup Shard(int index, const std::string& kind) {
        batch::BatchSetup setup = mRun.Setup(fmt::format("{}{}", kind, index));
        setup.shard = {index, kShards};
        setup.settings.Replace(batch::Settings::kShard, fmt::format("{}/{}", index, kShards));
        setup.settings.Add("sources", mRun.Path(""));
        return setup;
    }
    batch::BatchSetup ListedShard(int index) {
        batch::BatchSetup setup = Shard(index, "listed");
        setup.fileList = mRun.Dataset("list");
        return setup;
    }

    std::string Refused(const batch::BatchSetup& setup) {
        try {
            batch::RunBatch(setup);
        } catch (const batch::Refusal& refusal) {
            EXPECT_FALSE(fs::exists(setup.dataset));
            return refusal.what();
        }
        return "nothing was refused";
    }

    FakeRun mRun;
};

TEST_F(BatchListTest, ShardsOfAListAreThoseThatListTheirSourcesThemselves) {
    AddFiles(17);
    EXPECT_EQ(MakeList(), 17);
    std::vector<std::string> datasets;
    for (int i = 1; i <= kShards; ++i) {
        batch::RunBatch(Shard(i, "own"));
        batch::RunBatch(ListedShard(i));
        const std::string own = fmt::format("own{}", i);
        const std::string listed = fmt::format("listed{}", i);
        EXPECT_FALSE(mRun.Rows(own).empty());
        EXPECT_EQ(mRun.Rows(listed), mRun.Rows(own));
        EXPECT_EQ(ReadFile(mRun.Dataset(listed + "/settings")),
                  ReadFile(mRun.Dataset(own + "/settings")));
        datasets.push_back(mRun.Dataset(i == 2 ? own : listed)); // both kinds fit together
    }
    batch::Merge(datasets, mRun.Dataset("merged"));
    EXPECT_EQ(mRun.Rows("merged").size(), 17u);
}

TEST_F(BatchListTest, AShardOfAListDoesNotListItsSources) {
    AddFiles(5);
    MakeList();
    mRun.Add("d0/another", "ok");
    fs::remove(mRun.Path("d0/file00"));
    std::map<std::string, batch::Row> rows;
    for (int i = 1; i <= kShards; ++i) {
        EXPECT_EQ(batch::RunBatch(ListedShard(i)).listed, 5);
        rows.merge(mRun.Rows(fmt::format("listed{}", i)));
    }
    EXPECT_EQ(rows.size(), 5u);
    EXPECT_TRUE(rows.contains("d0/file00"));
    EXPECT_FALSE(rows.contains("d0/another"));
}

TEST_F(BatchListTest, AShardThatListedItsSourcesContinuesWithAList) {
    AddFiles(7);
    batch::RunBatch(Shard(1, "listed"));
    mRun.Begun();
    MakeList();
    const batch::BatchReport report = batch::RunBatch(ListedShard(1));
    EXPECT_TRUE(mRun.Begun().empty());
    EXPECT_EQ(report.earlier, 3);
}

TEST_F(BatchListTest, FaultsAndNamesOfAnyBytesAreInTheList) {
    batch::FoundFiles found(mRun.Path(""));
    found.Add("z\n\xff", "/z", "");
    found.Add("later", "/same", "");
    found.Add("b", "/same", "");
    found.Add("dir", "/dir", "cannot list this directory: Input/output error");
    EXPECT_EQ(batch::FileList::Write(mRun.Dataset("list"), {}, found), 3);
    const batch::FileList list(mRun.Dataset("list"));
    ASSERT_EQ(list.Files(), 3);
    EXPECT_EQ(list.At(0).path, "b");
    EXPECT_EQ(list.At(0).fault, "");
    EXPECT_EQ(list.At(1).path, "dir");
    EXPECT_EQ(list.At(1).fault, "cannot list this directory: Input/output error");
    EXPECT_EQ(list.At(2).path, "z\n\xff");
    // printf 'b\0dir\0z\n\xff\0' | sha256sum
    EXPECT_EQ(list.Digest(), "f598e3b7219825686815f90b79a25443def22bc261ed9756043c3c928c0daafc");
}

TEST_F(BatchListTest, AListOfOtherSourcesIsRefused) {
    AddFiles(3);
    MakeList();
    batch::BatchSetup other = ListedShard(1);
    other.settings.Replace("sources", "elsewhere");
    EXPECT_EQ(
        Refused(other),
        fmt::format("{}: was made with sources \"{}\", not \"elsewhere\"; repeat its sources, "
                    "or make the list again with --list-only",
                    mRun.Dataset("list"), mRun.Path("")));
}

TEST_F(BatchListTest, AListThatIsNotWholeIsRefusedWhereverItWasCut) {
    AddFiles(3);
    MakeList();
    const std::string whole = ReadFile(mRun.Dataset("list"));
    for (std::size_t length = 0; length < whole.size(); ++length) {
        WriteFile(mRun.Dataset("list"), whole.substr(0, length));
        EXPECT_NE(Refused(ListedShard(1)).find("cannot read this list of files"), std::string::npos)
            << length;
    }
    fs::remove(mRun.Dataset("list"));
    EXPECT_EQ(Refused(ListedShard(1)),
              mRun.Dataset("list") + ": cannot read this list of files: No such file or directory; "
                                     "make it with --list-only");
}

TEST_F(BatchListTest, AListReplacesAnEarlierListAndNothingElse) {
    AddFiles(2);
    MakeList();
    AddFiles(4);
    EXPECT_EQ(MakeList(), 4);
    EXPECT_EQ(batch::FileList(mRun.Dataset("list")).Files(), 4);
    WriteFile(mRun.Dataset("list"), "a song of the user's");
    EXPECT_THROW(MakeList(), batch::Refusal);
    EXPECT_EQ(ReadFile(mRun.Dataset("list")), "a song of the user's");
}

} // namespace
} // namespace qel
