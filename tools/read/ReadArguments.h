#pragma once

#include "tools/read/ReadOptions.h"

#include <CLI/CLI.hpp>

namespace qel::tool {

// Adds "qel read", whose parsing fills the options.
CLI::App* AddRead(CLI::App& app, ReadOptions& options);

} // namespace qel::tool
