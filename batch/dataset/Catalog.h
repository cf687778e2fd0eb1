#pragma once

#include "batch/Row.h"
#include "batch/dataset/Database.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace qel::batch {

// Which part of the sorted list: part `index` of `count`, from 1 on.
struct Shard {
    std::int64_t index = 1;
    std::int64_t count = 1;
};

// A file that is to be analyzed.
struct Task {
    std::string path;
    std::string hash; // of the content that a row is known for; empty: none
    int tries = 1;
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

    // Adds a file to the list. Files of one identity are one file, with the first of their paths in
    // the order of bytes. fault says why a path is in the list for its error alone; empty: it is a
    // file.
    void Find(const std::string& path, const std::string& identity, const std::string& fault);

    // Ends the list: sorts it and looks at the files of this shard.
    void CloseList();

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
    void Store(const Row& row, bool isOwn);

    Setup mSetup;
    Database mDatabase;
    std::int64_t mListed = 0;
    std::int64_t mFiles = 0;
    std::string mDigest;
    std::optional<Statement> mFind;
    std::optional<Statement> mBegun;
    std::optional<Statement> mStore;
    std::optional<Statement> mNext;
    std::optional<Statement> mLook;
};

} // namespace qel::batch
