#pragma once

#include "tools/read/ReadOptions.h"

namespace qel::tool {

// Runs "qel read" and returns its exit status. Throws UsageError, OutputError or
// Interrupt::Requested.
int RunRead(const ReadOptions& options);

} // namespace qel::tool
