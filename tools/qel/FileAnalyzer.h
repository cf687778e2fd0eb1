#pragma once

#include "output/ResultWriter.h"
#include "tools/qel/AnalysisPlan.h"
#include "tools/qel/ProgressBar.h"

#include <QelMedia.hpp>

#include <string>
#include <vector>

namespace qel::tool {

// What a reader reports, in the words of outputs.
output::DecoderFacts FactsOf(const media::Report& report);

// Decodes one file, analyzes it and hands the results to a writer, from BeginFile to EndFile.
// Throws ToolError, media::Error or qel::Error for a file that cannot be analyzed, after which the
// writer needs its FailFile;
// OutputError and OutputExists as the writer does.
//
// Returns warnings: what was wrong and did not end the analysis, a line each without the file's
// name.
std::vector<std::string> AnalyzeFile(const AnalysisPlan& plan, const std::string& path,
                                     output::ResultWriter& writer, ProgressBar& progress);

} // namespace qel::tool
