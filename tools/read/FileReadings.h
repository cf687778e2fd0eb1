#pragma once

#include "output/ResultWriter.h"
#include "tools/qel/ProgressBar.h"

#include <QelReadings.hpp>

#include <span>
#include <string>
#include <vector>

namespace qel::tool {

// What was read of one file.
struct FileReadings {
    std::string path;
    std::string error; // empty: it was read
    int sampleRateHz = 0;
    std::size_t channels = 0;
    output::DecoderFacts decoder;
    readings::Answers answers;
    std::vector<std::string> warnings; // lines without the file's name
};

// Decodes one file and reads it. Throws ToolError, media::Error or qel::Error for a file that
// cannot be read.
FileReadings ReadOneFile(const std::string& path, std::span<const readings::Reading> asked,
                         ProgressBar& progress);

} // namespace qel::tool
