#pragma once

#include "batch/Row.h"
#include "output/arrays/Array.h"

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace qel::batch {

// What is done with one file, in a worker: fills the row's columns of results and "readings", and
// adds arrays. Throws FileFault for a file that cannot be analyzed, std::bad_alloc, or
// output::Interrupt::Requested.
using FileWork =
    std::function<void(const std::string& path, Row& row, std::vector<output::Array>& arrays)>;

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
