#pragma once

#include "batch/dataset/FoundFiles.h"
#include "batch/dataset/Settings.h"

#include <cstdint>
#include <string>

namespace qel::batch {

// The sorted list of the files of a run as a file, from which every shard reads its part alone:
//
//     settings     lines, as in a dataset
//     files        path and fault of each, both with a byte of 0 at their end
//     offsets      where each file begins, and where the last one ends: 64 bits, low byte first
//     a last line  of one length: number of files, offset of the settings' end, digest of all paths
class FileList {
public:
    // Writes the list; the file appears when it is whole. Replaces an earlier list, and throws
    // Refusal if something else is there. Throws output::OutputError or
    // output::Interrupt::Requested. Returns the number of files.
    static std::int64_t Write(const std::string& file, const Settings& settings, FoundFiles& found);

    // Throws Refusal if there is no whole list of that name.
    explicit FileList(const std::string& file);
    ~FileList();
    FileList(const FileList&) = delete;
    FileList& operator=(const FileList&) = delete;

    // Throws Refusal if the list was made from other sources than those of a run.
    void RequireSources(const Settings& settings) const;

    std::int64_t Files() const { return mFiles; }
    const std::string& Digest() const { return mDigest; } // SHA-256 of the paths

    // A file by its position in the list, from 0 on.
    ListedFile At(std::int64_t position) const;

private:
    [[noreturn]] void Refuse(const std::string& reason) const;
    std::string Bytes(std::int64_t offset, std::size_t count) const;
    std::int64_t Number(std::int64_t offset) const;
    void ReadLastLine();

    std::string mName;
    int mDescriptor;
    std::int64_t mFiles = 0;
    std::int64_t mOffsets = 0; // where the table of offsets begins
    std::string mDigest;
    Settings mSettings;
};

} // namespace qel::batch
