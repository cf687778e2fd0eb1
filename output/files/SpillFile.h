#pragma once

#include "output/files/TextSink.h"

#include <filesystem>
#include <optional>

namespace qel::output {

// Holds text until its turn comes: in memory while it is short, then in a nameless file in the
// directory for temporary files. The file has no name from the start, so that nothing of it can be
// left behind.
class SpillFile {
public:
    // Throws OutputError if there is no directory for temporary files.
    SpillFile();

    // Text goes here; MayFlush after it, now and then.
    fmt::memory_buffer& Buffer() { return mHeld; }

    // Moves the text to the file if it has become large. Throws as TextSink::Write, or OutputError
    // if no file can be made.
    void MayFlush() {
        if (mHeld.size() >= kMostHeldBytes) {
            Spill();
        }
    }

    // Appends all that was written to another sink. Throws OutputError or ClosedPipe.
    void CopyTo(TextSink& sink) const;

    // Forgets all text. Memory stays for the next.
    void Clear();

private:
    static constexpr std::size_t kMostHeldBytes = 64 * 1024;

    void Spill();
    void CopyFileTo(TextSink& sink) const;

    std::filesystem::path mDirectory;
    std::optional<TextSink> mFile; // the text before that in memory
    fmt::memory_buffer mHeld;
};

} // namespace qel::output
