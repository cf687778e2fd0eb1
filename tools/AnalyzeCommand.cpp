#include "tools/AnalyzeCommand.h"

#include "tools/CsvWriter.h"
#include "tools/FileAnalyzer.h"
#include "tools/JsonWriter.h"
#include "tools/KeyList.h"
#include "tools/ToolError.h"

#include <filesystem>
#include <fmt/format.h>
#include <memory>
#include <system_error>
#include <unistd.h>

namespace qel::tool {
namespace {

std::vector<const KeyInfo*> ChooseKeys(const AnalyzeOptions& options) {
    if (options.allKeys) {
        return AllKeys();
    }
    return options.keyLists.empty() ? DefaultKeys() : ParseKeys(options.keyLists);
}

AnalysisPlan MakePlan(const AnalyzeOptions& options) {
    AnalysisPlan plan;
    plan.keys = ChooseKeys(options);
    plan.mix = options.mix;
    plan.blockSamples = options.blockSamples;
    for (const std::string& text : options.parameters) {
        plan.parameters.push_back(ParseParameter(text));
    }
    CheckParameters(plan);
    return plan;
}

// Results in the place of the audio they came from would be a loss that nobody asked for.
void RefuseToOverwriteInput(const AnalyzeOptions& options) {
    std::error_code differs;
    for (const std::string& file : options.files) {
        if (std::filesystem::equivalent(file, options.output, differs)) {
            throw UsageError(fmt::format("--output {} is one of the files to analyze", file));
        }
    }
}

std::unique_ptr<ResultWriter> MakeWriter(const AnalyzeOptions& options, const AnalysisPlan& plan) {
    if (options.format == OutputFormat::Json) {
        return std::make_unique<JsonWriter>(options.output);
    }
    if (options.output == "-" && (plan.keys.size() != 1 || options.files.size() != 1)) {
        throw UsageError("CSV on standard output is for one key of one file; "
                         "name a directory with --output");
    }
    return std::make_unique<CsvWriter>(options.output, options.files);
}

void Say(ProgressBar& progress, const std::string& line) {
    progress.Clear();
    fmt::print(stderr, "qel: {}\n", line);
}

bool AnalyzeOne(const AnalysisPlan& plan, const std::string& path, std::size_t index,
                ResultWriter& writer, ProgressBar& progress) {
    try {
        const FileSummary summary = AnalyzeFile(plan, path, index, writer, progress);
        if (summary.decoder.damagedPackets > 0) {
            Say(progress, fmt::format("{}: warning: {} damaged packets were left out", path,
                                      summary.decoder.damagedPackets));
        }
        if (!summary.missing.empty()) {
            Say(progress, fmt::format("{}: warning: {}", path, summary.missing));
        }
        return true;
    } catch (const OutputError&) {
        throw;
    } catch (const ToolError& error) {
        Say(progress, fmt::format("{}: {}", path, error.what()));
        writer.FailFile(path, error.what());
        return false;
    }
}

} // namespace

int RunAnalyze(const AnalyzeOptions& options) {
    const AnalysisPlan plan = MakePlan(options);
    RefuseToOverwriteInput(options);
    const std::unique_ptr<ResultWriter> writer = MakeWriter(options, plan);
    ProgressBar progress(STDERR_FILENO, isatty(STDERR_FILENO) != 0 && !options.quiet);
    bool good = true;
    for (std::size_t i = 0; i < options.files.size(); ++i) {
        good = AnalyzeOne(plan, options.files[i], i, *writer, progress) && good;
    }
    writer->Finish();
    return good ? kExitSuccess : kExitFailure;
}

} // namespace qel::tool
