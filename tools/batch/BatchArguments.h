#pragma once

#include "tools/batch/BatchOptions.h"

#include <CLI/CLI.hpp>

namespace qel::tool {

// Adds "qel batch" and "qel merge", whose parsing fills the options.
CLI::App* AddBatch(CLI::App& app, BatchOptions& options);
CLI::App* AddMerge(CLI::App& app, MergeOptions& options);

} // namespace qel::tool
