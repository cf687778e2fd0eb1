#include "tools/qel/AnalyzeCommand.h"

#include "output/BeatWriter.h"
#include "output/CsvWriter.h"
#include "output/JsonWriter.h"
#include "output/LabelWriter.h"
#include "output/files/FileIdentities.h"
#include "tools/qel/FileAnalyzer.h"
#include "tools/qel/KeyList.h"
#include "tools/qel/StandardStreams.h"
#include "tools/qel/ToolError.h"

#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <new>
#include <unistd.h>

namespace qel::tool {
namespace {

using KeyRows = std::vector<const KeyInfo*>;

// "a", "b", "c"
std::string QuotedList(const KeyRows& keys) {
    std::string list;
    for (const KeyInfo* info : keys) {
        list += fmt::format("{}\"{}\"", list.empty() ? "" : ", ", info->key);
    }
    return list;
}

// Keys that a format has no place for would be analyzed for nothing, and silently.
void RequirePlaces(const KeyRows& keys, const KeyRows& places, const char* format) {
    for (const KeyInfo* info : keys) {
        if (std::find(places.begin(), places.end(), info) == places.end()) {
            throw UsageError(fmt::format("--format {} is for the keys {}, not for \"{}\"", format,
                                         QuotedList(places), info->key));
        }
    }
}

// The keys that were asked for, of those that a format has a place for; all of these if nobody
// says, or says all.
KeyRows ChooseAmong(const AnalyzeOptions& options, const KeyRows& places, const char* format) {
    if (options.keyLists.empty()) {
        return places;
    }
    KeyRows keys = ParseKeys(options.keyLists);
    RequirePlaces(keys, places, format);
    return keys;
}

KeyRows ChooseBeatKeys(const AnalyzeOptions& options) {
    KeyRows keys = ChooseAmong(options, BeatKeys(), "beats");
    if (std::find(keys.begin(), keys.end(), RequireKey(kBeatKey)) == keys.end()) {
        throw UsageError(fmt::format("--format beats needs the key \"{}\"", kBeatKey));
    }
    return keys;
}

KeyRows ChooseKeys(const AnalyzeOptions& options) {
    switch (options.format) {
    case OutputFormat::Labels:
        return ChooseAmong(options, LabelKeys(), "labels");
    case OutputFormat::Beats:
        return ChooseBeatKeys(options);
    default:
        break;
    }
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
    plan.minStrength = ParseStrength(options.minStrength);
    for (const std::string& text : options.parameters) {
        plan.parameters.push_back(ParseParameter(text));
    }
    CheckBlock(plan);
    CheckParameters(plan);
    return plan;
}

// Results in the place of the audio they came from would be a loss that nobody asked for.
void RefuseToOverwriteInput(const AnalyzeOptions& options) {
    const bool isStandard = options.output == "-";
    for (const std::string& file : options.files) {
        const FileIdentities input({file});
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
    const bool isMono = options.mix == ChannelMix::Mono;
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

std::unique_ptr<ResultWriter> MakeWriter(const AnalyzeOptions& options, const AnalysisPlan& plan) {
    if (options.output == "-") {
        RequireOneOutput(options, plan);
    }
    const Existing existing = options.overwrite ? Existing::Replace : Existing::Refuse;
    switch (options.format) {
    case OutputFormat::Csv:
        return std::make_unique<CsvWriter>(options.output, options.files, existing);
    case OutputFormat::Labels:
        return std::make_unique<LabelWriter>(options.output, options.files, existing);
    case OutputFormat::Beats:
        return std::make_unique<BeatWriter>(options.output, options.files, existing);
    default:
        return std::make_unique<JsonWriter>(options.output, existing);
    }
}

void Say(ProgressBar& progress, const std::string& line) {
    progress.Clear();
    StandardStreams::Complain(line);
}

// A file without results: it is told, and the files behind it are still analyzed.
bool Fail(const std::string& path, const std::string& reason, ResultWriter& writer,
          ProgressBar& progress) {
    Say(progress, fmt::format("{}: {}", path, reason));
    writer.FailFile(path, reason);
    return false;
}

bool AnalyzeOne(const AnalysisPlan& plan, const std::string& path, ResultWriter& writer,
                ProgressBar& progress) {
    try {
        const FileSummary summary = AnalyzeFile(plan, path, writer, progress);
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
    const std::unique_ptr<ResultWriter> writer = MakeWriter(options, plan);
    ProgressBar progress(STDERR_FILENO, isatty(STDERR_FILENO) != 0 && !options.quiet);
    bool good = true;
    for (const std::string& file : options.files) {
        good = AnalyzeOne(plan, file, *writer, progress) && good;
    }
    writer->Finish();
    return good ? kExitSuccess : kExitFailure;
}

} // namespace qel::tool
