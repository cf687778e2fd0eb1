#pragma once

#include "output/ResultWriter.h"

#include <QelMedia.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace qel::tool {

enum class OutputFormat { Json, Csv, Labels, Beats };

// The command line of "qel analyze", before it is checked against keys and files.
struct AnalyzeOptions {
    std::vector<std::string> files;
    std::vector<std::string> keyLists;
    std::vector<std::string> parameters; // "NAME=VALUE"
    std::string output = "-";
    std::string minStrength = "0";
    OutputFormat format = OutputFormat::Json;
    media::ChannelMix mix = media::ChannelMix::Mono;
    std::uint32_t blockSamples = 4096;
    bool allKeys = false;
    bool quiet = false;
    bool overwrite = false;
};

// Splits "NAME=VALUE"; the value is a finite decimal number with a point. Throws UsageError.
output::Parameter ParseParameter(const std::string& text);

// The least strength of an event: a finite decimal number of 0 or above, with a point. Throws
// UsageError.
float ParseStrength(const std::string& text);

} // namespace qel::tool
