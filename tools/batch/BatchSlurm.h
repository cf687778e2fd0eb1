#pragma once

#include "tools/batch/BatchOptions.h"

#include <string>

namespace qel::tool {

// The script that runs "qel batch" as a Slurm job array: "sh SCRIPT" submits a task for each of
// options.slurmTasks shards, and a job that merges them. Throws UsageError for options that have no
// sense in a script.
std::string SlurmScript(const BatchOptions& options);

} // namespace qel::tool
