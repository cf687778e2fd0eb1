#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace qel::tool {

// The command line of "qel clicks".
struct ClicksOptions {
    std::string file;
    std::string output;
    std::vector<std::string> marks; // comma-separated lists of words
    double shiftMilliseconds = 0;
    bool overwrite = false;
    bool quiet = false;
};

// Adds "qel clicks", whose parsing fills the options.
CLI::App* AddClicks(CLI::App& app, ClicksOptions& options);

// Runs "qel clicks" and returns its exit status. Throws UsageError, OutputError or
// Interrupt::Requested.
int RunClicks(const ClicksOptions& options);

} // namespace qel::tool
