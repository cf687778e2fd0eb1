#pragma once

#include "output/files/TextSink.h"

#include <optional>

namespace qel::output {

// A nameless file in the directory for temporary files that holds text until its turn comes. It
// has no name from the start, so that nothing of it can be left behind.
class SpillFile {
public:
    // Throws OutputError if there is no room for temporary files.
    SpillFile();

    TextSink& Sink() { return *mSink; }

    // Appends all that was written to another sink. Throws OutputError or ClosedPipe.
    void CopyTo(TextSink& sink);

private:
    std::optional<TextSink> mSink;
};

} // namespace qel::output
