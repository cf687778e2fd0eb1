#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace qel::tool {

// The command line of "qel report".
struct ReportOptions {
    std::vector<std::string> files;
    std::string output;
    std::string pageTemplate;          // empty: the one beside the program
    std::vector<std::string> compared; // documents of qel read
    bool noAudio = false;
    bool overwrite = false;
    bool update = false;
    bool quiet = false;
};

// Adds "qel report", whose parsing fills the options.
CLI::App* AddReport(CLI::App& app, ReportOptions& options);

// Runs "qel report" and returns its exit status. Throws UsageError, ToolError, OutputError or
// Interrupt::Requested.
int RunReport(const ReportOptions& options);

} // namespace qel::tool
