#pragma once

#include "output/ResultWriter.h"
#include "output/files/ResultFiles.h"

#include <string>
#include <vector>

namespace qel::output {

// Writes one CSV file per key, one row per result or event with its time in seconds first and the
// path of its audio last; docs/output.md has the names. A file of audio gets its CSV files under
// their names together, when all of it was analyzed.
class CsvWriter : public ResultWriter {
public:
    // output is a directory, made when it is needed, or "-" for standard output, which only one
    // key of one file can go to. files are those of the command line, which no output may replace.
    CsvWriter(const std::string& output, const std::vector<std::string>& files,
              Existing existing = Existing::Refuse)
        : mFiles(output, files, existing) {}

    void BeginFile(const FileHeader& header) override;
    void Write(std::size_t key, const Result& result) override;
    void EndFile(const FileSummary& summary) override;
    void FailFile(const std::string& path, const std::string& message) override;
    void Finish() override {}

private:
    ResultFiles mFiles; // one per key
    std::string mRowEnd;
    float mMinStrength = 0;
};

} // namespace qel::output
