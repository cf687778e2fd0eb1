#pragma once

#include "output/files/TemporaryFile.h"
#include "output/files/TextSink.h"

#include <filesystem>
#include <optional>
#include <string>

namespace qel::output {

// What happens to a file that already has the name of an output.
enum class Existing { Refuse, Replace };

// A file that appears under its name only when it is complete: until then it has no name, or a
// temporary one beside its place. What is not committed vanishes.
//
// Two kinds of output cannot be put into place and are written directly: standard output, whose
// path is "-" or another name for the same file, and a path where something other than a regular
// file stands, such as a device.
class AtomicFile {
public:
    // Throws OutputError if nothing can be written there, OutputExists if a file stands there that
    // is to stay.
    explicit AtomicFile(const std::string& path, Existing existing = Existing::Replace);
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    TextSink& Sink() { return *mSink; }

    // Close, then Publish. Throws as they do.
    void Commit();

    // Completes the file, still without its name. Throws OutputError, ClosedPipe or
    // Interrupt::Requested.
    void Close();

    // Gives the file its name. In place of another file it gets the permissions of that file, and
    // its owner as far as that is allowed. Throws OutputError, or OutputExists if a file has
    // appeared there meanwhile and is to stay.
    void Publish();

    // Removes the file again, where it has replaced nothing.
    void Withdraw();

private:
    void Open(const std::filesystem::path& path);
    void TakeOverPermissions() const;

    std::string mPath; // as given, for messages
    Existing mExisting;
    std::filesystem::path mTarget; // where it will stand, links followed; empty: written directly
    TemporaryFile mTemporary;
    std::optional<TextSink> mSink;
    bool mPublished = false;
};

} // namespace qel::output
