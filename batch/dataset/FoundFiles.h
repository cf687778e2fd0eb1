#pragma once

#include "batch/dataset/Database.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace qel::batch {

// A file of the list.
struct ListedFile {
    std::string path;
    std::string fault; // why it is in the list for its error alone; empty: it is a file
};

// What the sources of a run have, in any order and with repetitions, to be read as the sorted list.
// It is in a nameless database on the disk, so that memory does not grow with the files.
class FoundFiles {
public:
    // directory has the temporary files and is named in messages.
    explicit FoundFiles(const std::string& directory);

    // Files of one identity are one file, with the first of their paths in the order of bytes.
    void Add(const std::string& path, const std::string& identity, const std::string& fault);

    // All files in the order of the bytes of their paths. Throws output::Interrupt::Requested.
    void ForEach(const std::function<void(const ListedFile&)>& take);

private:
    Database mDatabase;
    std::optional<Statement> mAdd;
};

} // namespace qel::batch
