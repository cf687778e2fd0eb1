#pragma once

#include "batch/Row.h"
#include "batch/dataset/Catalog.h"
#include "batch/dataset/Settings.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace qel::batch {

// What the list of a dataset was.
struct ListFacts {
    std::int64_t listed = 0; // files of all shards
    std::string digest;      // SHA-256 of their paths
    Shard shard;
    std::int64_t files = 0; // rows

    bool operator==(const ListFacts& other) const {
        return listed == other.listed && digest == other.digest &&
               shard.index == other.shard.index && shard.count == other.shard.count &&
               files == other.files;
    }
};

// Files with one status.
struct StatusCount {
    std::string status;
    std::int64_t files = 0;
    std::string path;  // the first of them
    std::string error; // its error
};

// The tables of a whole dataset: one SQLite file with "files", "readings", "runs", "settings" and
// "list". All members throw output::OutputError.
class Tables {
public:
    // Writes them to a new file. rows delivers all rows, in the order of their paths; no path comes
    // twice.
    struct Content {
        std::string dataset; // named in messages
        const Settings& settings;
        ListFacts list;
        std::vector<std::string> readings; // columns of the table of readings
        std::function<void(const std::function<void(const Row&)>&)> rows;
    };
    static void Write(const std::string& file, const Content& content);

    explicit Tables(const std::string& dataset, const std::string& file);

    ListFacts List();
    std::vector<std::string> ReadingColumns();
    void ForEachRow(const std::function<void(const Row&)>& take);
    std::vector<StatusCount> Statuses();

private:
    Database mDatabase;
};

} // namespace qel::batch
