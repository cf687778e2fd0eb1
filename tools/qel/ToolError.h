#pragma once

#include <stdexcept>
#include <string>

namespace qel::tool {

// How the tool ends. The numbers are its promise to shell scripts.
enum ExitStatus : int {
    kExitSuccess = 0,
    kExitFailure = 1, // at least one file could not be analyzed, or an output could not be written
    kExitUsage = 2    // usage error; nothing was analyzed
};

// One file, or one output, went wrong. The message is one line without the program's name.
class ToolError : public std::runtime_error {
public:
    explicit ToolError(const std::string& message) : std::runtime_error(message) {}
};

// Usage error: the command line cannot be understood. The message is one line without the program's
// name.
class UsageError : public ToolError {
public:
    explicit UsageError(const std::string& message) : ToolError(message) {}
};

} // namespace qel::tool
