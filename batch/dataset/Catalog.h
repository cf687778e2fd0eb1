#pragma once

#include "batch/Row.h"
#include "batch/dataset/Database.h"
#include "batch/dataset/FileList.h"
#include "batch/dataset/FoundFiles.h"
#include "batch/dataset/Shard.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace qel::batch {

// A file that is to be analyzed.
struct Task {
    std::string path;
    std::string hash; // of the content that a row is known for; empty: none
    int tries = 1;
    std::size_t pass = 0; // the first that is left to do
    Row row = nullptr;    // what the earlier passes have filled
};

// The list of the files of a run and the rows that are known of them. Everything is in a database
// on the disk, so that memory does not grow with the files.
class Catalog {
public:
    struct Setup {
        std::string dataset; // named in messages; has the temporary files
        Shard shard;
        bool comparesContent = false; // rows are compared by hash, later, not by size and time
        bool retriesErrors = false;   // rows with errors count for nothing
    };

    explicit Catalog(const Setup& setup);

    // Takes the files of this shard and looks at their sizes and times. One of both is called,
    // once.
    void Take(FoundFiles& found);
    void Take(const FileList& list);

    // A row of an earlier run, if it is still true of the file. Its arrays must be there.
    void Offer(const Row& row);

    // A file that an earlier run began.
    void OfferBegun(const std::string& path);

    // A row of this run.
    void Put(const Row& row);

    std::int64_t ListedFiles() const { return mListed; } // of all shards
    const std::string& ListDigest() const { return mDigest; }
    std::int64_t Files() const { return mFiles; } // of this shard
    std::int64_t Known();                         // files with a row
    std::int64_t BegunOnly();                     // begun once, and without a row

    // Files that are to be analyzed, in the order of the list; then none. No row may be put
    // meanwhile.
    std::optional<Task> Next();

    // Files that are to be tried once more, later.
    void Postpone(const std::string& path);
    std::optional<Task> NextPostponed();

    // What the list says of a file: its row without results.
    Row Stamp(const std::string& path);

    // Rows of what is in the list for its error.
    void ForEachFault(const std::function<void(const Row&)>& take);

    // All rows in the order of the list.
    void ForEachRow(const std::function<void(const Row&)>& take);

private:
    void TakeFile(std::int64_t position, const ListedFile& file);
    void Store(const Row& row, bool isOwn);

    Setup mSetup;
    Database mDatabase;
    std::int64_t mListed = 0;
    std::int64_t mFiles = 0;
    std::string mDigest;
    std::optional<Statement> mTake;
    std::optional<Statement> mBegun;
    std::optional<Statement> mStore;
    std::optional<Statement> mNext;
    std::optional<Statement> mLook;
};

} // namespace qel::batch
