#pragma once

#include "tools/batch/BatchOptions.h"

namespace qel::tool {

// Run "qel batch" and "qel merge" and return their exit status: kExitFailure if a file of the
// dataset has an error. Throw UsageError, OutputError or Interrupt::Requested.
int RunBatchCommand(const BatchOptions& options);
int RunMergeCommand(const MergeOptions& options);

} // namespace qel::tool
