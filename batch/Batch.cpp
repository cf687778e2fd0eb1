#include "batch/Batch.h"

#include "batch/Refusal.h"
#include "batch/Sources.h"
#include "batch/dataset/Dataset.h"
#include "batch/workers/Driver.h"
#include "output/files/OutputError.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <optional>

namespace qel::batch {
namespace {

void FindFiles(const BatchSetup& setup, FoundFiles& found) {
    Sources sources(setup.matches,
                    [&](const std::string& path, const std::string& identity,
                        const std::string& fault) { found.Add(path, identity, fault); });
    for (const std::string& source : setup.sources) {
        sources.AddSource(source);
    }
    for (const std::string& list : setup.lists) {
        sources.AddList(list, setup.isNullSeparated);
    }
}

// One run, in the order of its members.
class Run {
public:
    explicit Run(const BatchSetup& setup)
        : mSetup(setup), mDataset(setup.dataset, setup.settings), mAttempt(Dataset::NewAttempt()),
          mCatalog({.dataset = setup.dataset,
                    .shard = setup.shard,
                    .comparesContent = setup.hashes,
                    .retriesErrors = setup.retriesErrors}) {}

    BatchReport Do() {
        TakeFiles();
        mDataset.Begin();
        mParts = mDataset.PartNames();
        OfferEarlierRows();
        BatchReport report;
        report.listed = mCatalog.ListedFiles();
        report.earlier = mSetup.hashes ? 0 : mCatalog.Known();
        mCatalog.ForEachFault([this](const Row& row) { mCatalog.Put(row); });
        report.begunOnly = mCatalog.BegunOnly();
        const std::int64_t known = mSetup.hashes ? 0 : mCatalog.Known();
        BatchProgress progress(mSetup.progressDescriptor, mCatalog.Files(), known);
        if (known < mCatalog.Files()) {
            Analyze(progress);
        }
        progress.Clear();
        Publish();
        report.state = progress.State();
        report.statuses = Tables(mSetup.dataset, Dataset::TablesOf(mSetup.dataset)).Statuses();
        return report;
    }

private:
    void TakeFiles() {
        if (!mSetup.fileList.empty()) {
            const FileList list(mSetup.fileList);
            list.RequireSources(mSetup.settings);
            mCatalog.Take(list);
            return;
        }
        FoundFiles found(mSetup.dataset);
        FindFiles(mSetup, found);
        mCatalog.Take(found);
    }

    void OfferEarlierRows() {
        const auto offer = [this](const Row& row) { mCatalog.Offer(row); };
        if (mDataset.HasTables()) {
            Tables(mSetup.dataset, Dataset::TablesOf(mSetup.dataset)).ForEachRow(offer);
        }
        for (const std::string& name : mParts) {
            Part::Read(mDataset.Parts() + '/' + name, [&](const Row& row) {
                if (row.contains("begun")) {
                    mCatalog.OfferBegun(TextOf(row, "begun"));
                } else {
                    offer(row);
                }
            });
        }
    }

    void Analyze(BatchProgress& progress) {
        Part part(mSetup.dataset, mDataset.Parts(), mAttempt);
        const WorkerSetup workers{.dataset = mSetup.dataset,
                                  .work = mSetup.work,
                                  .limits = mSetup.limits,
                                  .hashes = mSetup.hashes};
        Driver(workers, mSetup.jobs, mCatalog, part, progress).Run();
        part.Close();
        Part::Read(part.Path(), [this](const Row& row) {
            if (!row.contains("begun")) {
                mCatalog.Put(row);
            }
        });
        mParts.push_back(mAttempt + Part::kWhole);
        mIsChanged = true;
    }

    ListFacts Facts() const {
        return {mCatalog.ListedFiles(), mCatalog.ListDigest(), mSetup.shard, mCatalog.Files()};
    }

    // Tables that have it all stay as they are.
    void Publish() {
        const bool isNew =
            !mDataset.HasTables() || mIsChanged || !mParts.empty() ||
            !(Tables(mSetup.dataset, Dataset::TablesOf(mSetup.dataset)).List() == Facts());
        if (!isNew) {
            return;
        }
        if (mCatalog.Known() !=
            mCatalog.Files()) { // another attempt has taken this one's part away
            mDataset.FailByOther();
        }
        const Tables::Content content{
            .dataset = mSetup.dataset,
            .settings = mSetup.settings,
            .list = Facts(),
            .readings = mSetup.readingColumns,
            .rows = [this](const auto& take) { mCatalog.ForEachRow(take); }};
        mDataset.Publish(mAttempt, content);
        mDataset.RemoveParts(mParts);
    }

    const BatchSetup& mSetup;
    Dataset mDataset;
    std::string mAttempt;
    std::vector<std::string> mParts; // names of what earlier attempts left
    Catalog mCatalog;
    bool mIsChanged = false;
};

} // namespace

void RequireSources(const BatchSetup& setup) {
    const bool isListed = !setup.fileList.empty(); // to expand a pattern would list again
    for (const std::string& source : setup.sources) {
        if (!(isListed && Sources::IsPattern(source)) && !Sources::IsAnything(source)) {
            throw Refusal(fmt::format("{}: no such file or directory", source));
        }
    }
    if (!isListed) {
        std::ranges::for_each(setup.lists, Sources::RequireList);
    }
}

BatchReport RunBatch(const BatchSetup& setup) {
    RequireSources(setup);
    return Run(setup).Do();
}

std::int64_t ListFiles(const BatchSetup& setup) {
    RequireSources(setup);
    const std::string directory = std::filesystem::path(setup.dataset).parent_path().string();
    FoundFiles found(directory.empty() ? "." : directory);
    FindFiles(setup, found);
    return FileList::Write(setup.dataset, setup.settings, found);
}

} // namespace qel::batch
