#include "tools/qel/AnalyzeCommand.h"

#include "output/BeatWriter.h"
#include "output/CsvWriter.h"
#include "output/JsonWriter.h"
#include "output/LabelWriter.h"
#include "output/files/FileIdentities.h"
#include "output/files/OutputError.h"
#include "tools/qel/AnalysisPlan.h"
#include "tools/qel/FileAnalyzer.h"
#include "tools/qel/StandardStreams.h"
#include "tools/qel/ToolError.h"

#include <fmt/format.h>
#include <memory>
#include <new>
#include <unistd.h>

namespace qel::tool {
namespace {

// Results in the place of the audio they came from would be a loss that nobody asked for.
void RefuseToOverwriteInput(const AnalyzeOptions& options) {
    const bool isStandard = options.output == "-";
    for (const std::string& file : options.files) {
        const output::FileIdentities input({file});
        if (isStandard && input.HasDescriptor(STDOUT_FILENO)) {
            throw UsageError(
                fmt::format("standard output is one of the files to analyze: {}", file));
        }
        if (!isStandard && input.HasPath(options.output)) {
            throw UsageError(fmt::format("--output {} is one of the files to analyze", file));
        }
    }
}

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

void Say(ProgressBar& progress, const std::string& line) {
    progress.Clear();
    StandardStreams::Complain(line);
}

// A file without results: it is told, and the files behind it are still analyzed.
bool Fail(const std::string& path, const std::string& reason, output::ResultWriter& writer,
          ProgressBar& progress) {
    Say(progress, fmt::format("{}: {}", path, reason));
    writer.FailFile(path, reason);
    return false;
}

bool AnalyzeOne(const AnalysisPlan& plan, const std::string& path, output::ResultWriter& writer,
                ProgressBar& progress) {
    try {
        for (const std::string& warning : AnalyzeFile(plan, path, writer, progress)) {
            Say(progress, fmt::format("{}: warning: {}", path, warning));
        }
        return true;
    } catch (const output::OutputError&) {
        throw;
    } catch (const output::OutputExists& error) {
        return Fail(path, error.what(), writer, progress);
    } catch (const ToolError& error) {
        return Fail(path, error.what(), writer, progress);
    } catch (const std::bad_alloc&) { // all that was taken for this file has been given back
        return Fail(path, "out of memory", writer, progress);
    }
}

} // namespace

int RunAnalyze(const AnalyzeOptions& options) {
    const AnalysisPlan plan = MakePlan(options);
    if (options.output.empty()) {
        throw UsageError("--output is empty");
    }
    RefuseToOverwriteInput(options);
    const std::unique_ptr<output::ResultWriter> writer = MakeWriter(options, plan);
    ProgressBar progress(STDERR_FILENO, isatty(STDERR_FILENO) != 0 && !options.quiet);
    bool good = true;
    for (const std::string& file : options.files) {
        good = AnalyzeOne(plan, file, *writer, progress) && good;
    }
    writer->Finish();
    return good ? kExitSuccess : kExitFailure;
}

} // namespace qel::tool
