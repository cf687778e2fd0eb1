#pragma once

#include "output/ResultWriter.h"
#include "tools/qel/Options.h"
#include "tools/qel/ProgressBar.h"

#include <cstddef>
#include <string>
#include <vector>

namespace qel::tool {

// What is the same for every file of a run.
struct AnalysisPlan {
    std::vector<const KeyInfo*> keys;
    std::vector<Parameter> parameters;
    ChannelMix mix = ChannelMix::Mono;
    std::uint32_t blockSamples = 4096;
    float minStrength = 0; // weaker events are not written
};

// Refuses, before any file is looked at, a size of blocks that some of the plan's keys do not take.
// Throws UsageError.
void CheckBlock(const AnalysisPlan& plan);

// Refuses, before any file is looked at, parameters that none of the plan's keys has. Throws
// UsageError with the parameters there are.
void CheckParameters(const AnalysisPlan& plan);

// Decodes one file, analyzes it and hands the results to a writer, from BeginFile to EndFile.
// Throws ToolError for a file that cannot be analyzed, after which the writer needs its FailFile;
// OutputError where the writer cannot go on.
//
// Returns what was done, for warnings.
FileSummary AnalyzeFile(const AnalysisPlan& plan, const std::string& path, ResultWriter& writer,
                        ProgressBar& progress);

} // namespace qel::tool
