#pragma once

#include "tools/qel/Options.h"

namespace qel::tool {

// "qel analyze": analyzes the files one after the other. A file that fails costs one line on
// standard error and the exit status; the others are analyzed all the same.
//
// Returns kExitSuccess or kExitFailure. Throws UsageError before anything is written, OutputError
// when the results cannot be delivered.
int RunAnalyze(const AnalyzeOptions& options);

} // namespace qel::tool
