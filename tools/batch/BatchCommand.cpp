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
    if (state.known > 0 || report.begunOnly > 0) {
        text = fmt::format("{} {} done before; {} had been begun and not finished\n",
                           output::CountText(state.known, "file"),
                           state.known == 1 ? "was" : "were", report.begunOnly);
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

} // namespace

int RunBatchCommand(const BatchOptions& options) {
    const batch::BatchSetup setup = MakeBatch(options);
    if (options.slurmTasks > 0) {
        StandardStreams::Print(SlurmScript(options));
        return kExitSuccess;
    }
    try {
        const batch::BatchReport report = batch::RunBatch(setup);
        if (!options.quiet) {
            StandardStreams::Print(Summary(options.out, report));
        }
        return StatusOf(report.statuses);
    } catch (const batch::Refusal& refusal) {
        throw UsageError(refusal.what());
    } catch (const output::Interrupt::Requested&) {
        StandardStreams::Complain("stopped; the same command continues");
        throw;
    }
}

int RunMergeCommand(const MergeOptions& options) {
    try {
        const Statuses statuses = batch::Merge(options.datasets, options.out);
        StandardStreams::Print(Contents(options.out, statuses));
        return StatusOf(statuses);
    } catch (const batch::Refusal& refusal) {
        throw UsageError(refusal.what());
    }
}

} // namespace qel::tool
