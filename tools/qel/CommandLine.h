#pragma once

namespace qel::tool {

// The whole tool: reads the command line, runs the command, says what went wrong in one line on
// standard error. Returns the exit status (ExitStatus) and lets no exception out.
int RunCommandLine(int argc, const char* const* argv);

} // namespace qel::tool
