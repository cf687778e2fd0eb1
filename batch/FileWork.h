#pragma once

#include "batch/Row.h"
#include "output/arrays/Array.h"

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace qel::batch {

// One reading of a file, in a worker: fills the row's columns of results and "readings", and adds
// arrays. Throws FileFault for a file that cannot be analyzed, std::bad_alloc, or
// output::Interrupt::Requested.
using FilePass =
    std::function<void(const std::string& path, Row& row, std::vector<output::Array>& arrays)>;

// What is done with each file.
struct FileWork {
    // One after the other, each with the row that the earlier ones have filled. One of them alone
    // adds arrays.
    std::vector<FilePass> passes;

    // Whether the process is not fit for another pass, of this file or of the next. What is left
    // goes to a new worker.
    std::function<bool()> isProcessSpent = [] { return false; };
};

// A file cannot be analyzed. status is a word of the column "status", what() the reason.
class FileFault : public std::runtime_error {
public:
    FileFault(std::string status, const std::string& reason)
        : std::runtime_error(reason), mStatus(std::move(status)) {}
    const std::string& Status() const { return mStatus; }

private:
    std::string mStatus;
};

} // namespace qel::batch
