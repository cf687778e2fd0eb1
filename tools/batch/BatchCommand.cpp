#include "tools/batch/BatchCommand.h"

#include "batch/Refusal.h"
#include "batch/dataset/Merge.h"
#include "output/files/Interrupt.h"
#include "output/formats/Texts.h"
#include "tools/batch/BatchPlan.h"
#include "tools/batch/BatchSlurm.h"
#include "tools/qel/StandardStreams.h"
#include "tools/qel/ToolError.h"

#include <fmt/format.h>

namespace qel::tool {
namespace {

using Statuses = std::vector<batch::StatusCount>;

std::int64_t CountErrors(const Statuses& statuses) {
    std::int64_t errors = 0;
    for (const batch::StatusCount& count : statuses) {
        errors += count.status == batch::status::kOk ? 0 : count.files;
    }
    return errors;
}

// What is in the dataset, and the reasons of errors with the first file of each.
std::string Contents(const std::string& dataset, const Statuses& statuses) {
    std::int64_t files = 0;
    for (const batch::StatusCount& count : statuses) {
        files += count.files;
    }
    const std::int64_t errors = CountErrors(statuses);
    std::string text = fmt::format("{}: {}, {} with errors\n", output::PrintableText(dataset),
                                   output::CountText(files, "file"), errors);
    for (const batch::StatusCount& count : statuses) {
        if (count.status != batch::status::kOk) {
            text +=
                fmt::format("  {} {}, such as {}: {}\n", count.files, count.status,
                            output::PrintableText(count.path), output::PrintableText(count.error));
        }
    }
    return text;
}

std::string Summary(const std::string& dataset, const batch::BatchReport& report) {
    const batch::BatchState& state = report.state;
    std::string text;
    if (report.earlier > 0 || report.begunOnly > 0) {
        text = fmt::format("{} {} done before; {} had been begun and not finished\n",
                           output::CountText(report.earlier, "file"),
                           report.earlier == 1 ? "was" : "were", report.begunOnly);
    }
    if (state.done > 0 && state.seconds > 0) {
        text += fmt::format("{} in {:.1f} s: {:.1f} files/s, {:.0f} times real time\n",
                            output::CountText(state.done, "file"), state.seconds,
                            static_cast<double>(state.done) / state.seconds,
                            state.audioSeconds / state.seconds);
    }
    return text + Contents(dataset, report.statuses);
}

int StatusOf(const Statuses& statuses) {
    return CountErrors(statuses) == 0 ? kExitSuccess : kExitFailure;
}

// Directories without audio are more often a mistake than not. A list of names may be empty, and
// so may the part of a shard.
bool RequireFiles(const BatchOptions& options, std::int64_t listed) {
    if (listed > 0 || !options.lists.empty() || !options.fileList.empty()) {
        return true;
    }
    const std::string several = options.sources.size() > 1 ? " and the other sources" : "";
    StandardStreams::Complain(fmt::format(
        "{}{}: no file there has {}", output::PrintableText(options.sources.front()), several,
        options.matches.empty() ? "an extension of audio files; --match '*' takes all files"
                                : "a name that --match takes"));
    return false;
}

int RunListOnly(const BatchOptions& options, const batch::BatchSetup& setup) {
    const std::int64_t files = batch::ListFiles(setup);
    if (!options.quiet) {
        StandardStreams::Print(fmt::format("{}: {}\n", output::PrintableText(options.out),
                                           output::CountText(files, "file")));
    }
    return RequireFiles(options, files) ? kExitSuccess : kExitFailure;
}

int RunAnalysis(const BatchOptions& options, const batch::BatchSetup& setup) {
    const batch::BatchReport report = batch::RunBatch(setup);
    if (!options.quiet) {
        StandardStreams::Print(Summary(options.out, report));
    }
    return RequireFiles(options, report.listed) ? StatusOf(report.statuses) : kExitFailure;
}

int PrintScript(const BatchOptions& options, const batch::BatchSetup& setup) {
    const std::string script = SlurmScript(options);
    batch::RequireSources(setup);
    StandardStreams::Print(script);
    return kExitSuccess;
}

} // namespace

int RunBatchCommand(const BatchOptions& options) {
    const batch::BatchSetup setup = MakeBatch(options);
    try {
        if (options.slurmTasks > 0) {
            return PrintScript(options, setup);
        }
        return options.listsOnly ? RunListOnly(options, setup) : RunAnalysis(options, setup);
    } catch (const batch::Refusal& refusal) {
        throw UsageError(refusal.what());
    } catch (const output::Interrupt::Requested&) {
        StandardStreams::Complain("stopped; the same command continues");
        throw;
    }
}

int RunMergeCommand(const MergeOptions& options) {
    try {
        const Statuses statuses =
            batch::Merge(options.datasets, options.out,
                         options.replaces ? batch::Earlier::Replace : batch::Earlier::Refuse);
        StandardStreams::Print(Contents(options.out, statuses));
        return StatusOf(statuses);
    } catch (const batch::Refusal& refusal) {
        throw UsageError(refusal.what());
    }
}

} // namespace qel::tool
