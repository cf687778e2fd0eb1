#pragma once

#include "batch/Row.h"

#include <functional>
#include <string>

namespace qel::batch {

// What one attempt adds to a dataset: a file of records that grows while the attempt goes on and
// gets its final name when the attempt has ended by itself. Nobody else writes to it. What a killed
// attempt leaves has all records that were written whole.
class Part {
public:
    static constexpr const char* kOpen = ".open";  // end of the name of one that grows
    static constexpr const char* kWhole = ".rows"; // end of the name of one that has ended

    // Makes the file in a directory; attempt is its name. Throws output::OutputError.
    Part(std::string dataset, std::string directory, std::string attempt);
    ~Part();
    Part(const Part&) = delete;
    Part& operator=(const Part&) = delete;

    // Says that the work on a file begins, and what became of it. Both throw output::OutputError.
    void Begin(const std::string& path);
    void Add(const Row& row);

    // Ends the part and gives it its final name. Nothing happens if it was removed.
    void Close();

    std::string Path() const { return mPath; }

    // The records of a part, whole or not, in their order. Row has "begun" with a path for what was
    // begun, or is a row. A part that is not there has none.
    static void Read(const std::string& path, const std::function<void(const Row&)>& take);

private:
    void Write(const Row& record);
    [[noreturn]] void Fail() const;

    std::string mDataset;
    std::string mName; // path without the end
    std::string mPath;
    int mDescriptor;
};

} // namespace qel::batch
