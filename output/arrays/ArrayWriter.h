#pragma once

#include "output/ResultWriter.h"
#include "output/arrays/KeyArrays.h"

#include <deque>
#include <vector>

namespace qel::output {

// Collects the results of one file as arrays, with what is known of the file.
class ArrayWriter : public ResultWriter {
public:
    void BeginFile(const FileHeader& header) override;
    void Write(std::size_t key, const Result& result) override { mKeys[key].Add(result); }
    void EndFile(const FileSummary& summary) override { mSummary = summary; }
    void FailFile(const std::string&, const std::string&) override { mKeys.clear(); }
    void Finish() override {}

    const FileHeader& Header() const { return mHeader; }
    const FileSummary& Summary() const { return mSummary; }

    // The arrays of all keys in their order, once.
    std::vector<Array> Take();

private:
    FileHeader mHeader;
    FileSummary mSummary;
    std::deque<KeyArrays> mKeys;
};

} // namespace qel::output
