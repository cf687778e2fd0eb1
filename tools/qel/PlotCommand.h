#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace qel::tool {

// The command line of "qel plot".
struct PlotOptions {
    std::string file;
    std::string output;
    std::string python = "python3";
    std::vector<std::string> values; // "--lanes", "keys,tempo", ...: for the Python package
    bool dark = false;
    bool overwrite = false;
};

// Adds "qel plot", whose parsing fills the options.
CLI::App* AddPlot(CLI::App& app, PlotOptions& options);

// Runs "qel plot", which the Python package does, and returns its exit status. Throws ToolError
// where there is no interpreter.
int RunPlot(const PlotOptions& options);

} // namespace qel::tool
