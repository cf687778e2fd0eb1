#pragma once

#include "output/ResultWriter.h"
#include "output/files/AtomicFile.h"
#include "output/files/OutputDirectory.h"
#include "output/files/SpillFile.h"

#include <deque>
#include <filesystem>
#include <optional>
#include <string>

namespace qel::output {

// Writes one JSON document about all files; docs/output.md describes its form. The numbers of each
// key wait in a temporary file until their file is complete, so that memory does not grow with the
// length of the audio.
class JsonWriter : public ResultWriter {
public:
    // path is a file's, whose directory is made if it is not there, or "-" for standard output.
    // Throws OutputError, or OutputExists if a file exists that must be kept.
    explicit JsonWriter(const std::string& path, Existing existing = Existing::Refuse)
        : mDirectory(DirectoryOf(path)), mOutput(path, existing) {}

    void BeginFile(const FileHeader& header) override;
    void Write(std::size_t key, const Result& result) override;
    void EndFile(const FileSummary& summary) override;
    void FailFile(const std::string& path, const std::string& message) override;
    void Finish() override;

private:
    // The results of one key of the file at hand.
    struct KeyResults {
        AnalyzedKey key;
        std::string description; // of the key, the members of an object
        SpillFile spill;
        std::uint64_t count = 0;
    };

    static std::optional<std::filesystem::path> DirectoryOf(const std::string& path);
    void BeginEntry();
    void BeginKey(const AnalyzedKey& key, KeyResults& results) const;
    void DropResults();
    void WriteKey(std::size_t key);

    std::optional<OutputDirectory> mDirectory; // outlives the file
    AtomicFile mOutput;
    FileHeader mHeader;
    std::deque<KeyResults> mResults; // by index of mHeader.keys; kept for the next file
    bool mBegun = false;
};

} // namespace qel::output
