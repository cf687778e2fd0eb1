#pragma once

#include "tools/AtomicFile.h"
#include "tools/ResultWriter.h"

#include <deque>
#include <filesystem>
#include <string>
#include <vector>

namespace qel::tool {

// Writes one CSV file per key, one row per result or event with its time in seconds first;
// docs/output.md tells the names. A file of audio gets its CSV files under their names together,
// when all of it was analyzed.
class CsvWriter : public ResultWriter {
public:
    // output is a directory, made when it is needed, or "-" for standard output, which only one
    // key of one file can go to. files are those of the command line: several get a directory each.
    CsvWriter(const std::string& output, const std::vector<std::string>& files);
    ~CsvWriter() override { RemoveMadeDirectories(); }

    void BeginFile(const FileHeader& header) override;
    void Write(std::size_t key, const Result& result) override;
    void EndFile(const FileSummary& summary) override;
    void FailFile(const std::string& path, const std::string& message) override;
    void Finish() override {}

    // Names of the directories of several files: their own names, with "-2" and so on behind those
    // that were taken already. Capitals make no difference, for file systems where they do not.
    static std::vector<std::string> DirectoryNames(const std::vector<std::string>& files);

    // "generic spectrum properties" becomes "generic-spectrum-properties.csv".
    static std::string FileName(std::string_view key);

private:
    void MakeDirectory(const std::filesystem::path& directory);
    void RemoveMadeDirectories();

    std::string mOutput;
    std::vector<std::string> mDirectories; // by index of file; empty names for a single file
    std::vector<std::filesystem::path> mMade;
    std::vector<AnalyzedKey> mKeys;
    std::deque<AtomicFile> mFiles; // by index of mKeys
};

} // namespace qel::tool
