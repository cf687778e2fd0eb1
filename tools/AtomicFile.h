#pragma once

#include "tools/TextSink.h"

#include <filesystem>
#include <optional>
#include <string>

namespace qel::tool {

// A file that appears under its name only when it is complete: it is written beside its place under
// a temporary name, and renamed by Commit. What is not committed vanishes.
//
// Two kinds of output cannot be renamed into place and are written directly: standard output, whose
// path is "-", and a path where something other than a regular file stands, such as a device.
class AtomicFile {
public:
    // Throws OutputError if nothing can be written there.
    explicit AtomicFile(const std::string& path);
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    TextSink& Sink() { return *mSink; }

    // Completes the file, in place of what stood there. Throws OutputError or ClosedPipe.
    void Commit();

private:
    void OpenTemporary();

    std::string mPath;                // as given, for messages
    std::filesystem::path mTarget;    // where it will stand, links followed
    std::filesystem::path mTemporary; // empty if written directly, or committed
    std::optional<TextSink> mSink;
};

} // namespace qel::tool
