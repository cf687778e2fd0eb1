#pragma once

#include "output/ResultWriter.h"
#include "tools/qel/AnalysisPlan.h"
#include "tools/qel/ProgressBar.h"
#include "tools/qel/StreamAnalysis.h"

#include <QelMedia.hpp>

#include <memory>
#include <string>
#include <vector>

namespace qel::tool {

// What a reader reports, in the words of outputs.
output::DecoderFacts FactsOf(const media::Report& report);

// Analyzes files one after the other. The tables of an analyzer take longer to make than a second
// of audio takes to analyze, so that files with the same rate and channels share one where their
// results do not depend on it.
class FileAnalyzer {
public:
    explicit FileAnalyzer(AnalysisPlan plan);

    // Decodes one file, analyzes it and hands the results to a writer, from BeginFile to EndFile.
    // Throws ToolError, media::Error or qel::Error for a file that cannot be analyzed, after which
    // the writer needs its FailFile, and the next file can be analyzed; OutputError and
    // OutputExists as the writer does.
    //
    // Returns warnings: what was wrong and did not end the analysis, a line each without the file's
    // name.
    std::vector<std::string> Analyze(const std::string& path, output::ResultWriter& writer,
                                     ProgressBar& progress);

private:
    // An analysis at the start of a stream; it is the caller's until it is kept for the next file.
    std::unique_ptr<StreamAnalysis> TakeAnalysis(const StreamSetup& setup);
    void KeepAnalysis(std::unique_ptr<StreamAnalysis> analysis, const StreamSetup& setup);

    const AnalysisPlan mPlan;
    const bool mMayShare;
    std::unique_ptr<StreamAnalysis> mKept; // whose stream went to its end
    StreamSetup mKeptSetup;
};

} // namespace qel::tool
