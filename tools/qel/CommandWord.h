#pragma once

#include <string>
#include <vector>

namespace qel::tool {

// Looks at the first word of a command line. Where it is a file instead of a subcommand, "read" is
// put before it: a file of that name exists, or the word has a dot or a slash. Throws UsageError
// for any other word that is no subcommand, with the nearest subcommand, key or reading as a hint.
void CompleteCommandWord(std::vector<std::string>& arguments);

} // namespace qel::tool
