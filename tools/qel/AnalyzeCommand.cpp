#include "tools/qel/AnalyzeCommand.h"

#include "output/BeatWriter.h"
#include "output/CsvWriter.h"
#include "output/JsonWriter.h"
#include "output/LabelWriter.h"
#include "tools/qel/AnalysisPlan.h"
#include "tools/qel/FileAnalyzer.h"
#include "tools/qel/FileRun.h"
#include "tools/qel/ToolError.h"

#include <fmt/format.h>

#include <memory>
#include <unistd.h>

namespace qel::tool {
namespace {

// Standard output takes what would be one file in a directory. How many channels a file has is not
// known yet: with --mix keep, label tracks and beat annotations may be several.
void RequireOneOutput(const AnalyzeOptions& options, const AnalysisPlan& plan) {
    const bool isOneFile = options.files.size() == 1;
    const bool isOneKey = plan.keys.size() == 1;
    const bool isMono = options.mix == media::ChannelMix::Mono;
    const char* fault = nullptr;
    if (options.format == OutputFormat::Csv && !(isOneFile && isOneKey)) {
        fault = "CSV on standard output is for one key of one file";
    } else if (options.format == OutputFormat::Labels && !(isOneFile && isOneKey && isMono)) {
        fault = "labels on standard output are for one key of one file, mixed to mono";
    } else if (options.format == OutputFormat::Beats && !(isOneFile && isMono)) {
        fault = "beats on standard output are for one file, mixed to mono";
    }
    if (fault != nullptr) {
        throw UsageError(fmt::format("{}; name a directory with --output", fault));
    }
}

std::unique_ptr<output::ResultWriter> MakeWriter(const AnalyzeOptions& options,
                                                 const AnalysisPlan& plan) {
    if (options.output == "-") {
        RequireOneOutput(options, plan);
    }
    const auto existing = options.overwrite ? output::Existing::Replace : output::Existing::Refuse;
    switch (options.format) {
    case OutputFormat::Csv:
        return std::make_unique<output::CsvWriter>(options.output, options.files, existing);
    case OutputFormat::Labels:
        return std::make_unique<output::LabelWriter>(options.output, options.files, existing);
    case OutputFormat::Beats:
        return std::make_unique<output::BeatWriter>(options.output, options.files, existing);
    default:
        return std::make_unique<output::JsonWriter>(options.output, existing);
    }
}

} // namespace

int RunAnalyze(const AnalyzeOptions& options) {
    const AnalysisPlan plan = MakePlan(options);
    if (options.output.empty()) {
        throw UsageError("--output is empty");
    }
    RefuseToOverwriteInput(options.files, options.output);
    const std::unique_ptr<output::ResultWriter> writer = MakeWriter(options, plan);
    ProgressBar progress(STDERR_FILENO, isatty(STDERR_FILENO) != 0 && !options.quiet);
    FileAnalyzer analyzer(plan);
    bool good = true;
    for (const std::string& file : options.files) {
        const auto analyze = [&] { return analyzer.Analyze(file, *writer, progress); };
        const auto fail = [&](const std::string& reason) { writer->FailFile(file, reason); };
        good = TryFile(file, progress, analyze, fail) && good;
    }
    writer->Finish();
    return good ? kExitSuccess : kExitFailure;
}

} // namespace qel::tool
