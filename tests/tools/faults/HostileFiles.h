#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qel::tool {

// Instead of a number of frames.
inline constexpr std::int64_t kRefused = -1;

// A file whose header may lie, and the right answer to it.
struct HostileFile {
    std::string name; // its extension included
    std::string bytes;
    std::int64_t frames = kRefused; // that it is analyzed with
};

// Analyzes all of them in one run, and a good file after them. Every one that is to be refused
// costs one line on standard error, and an entry with the same words in the results; the others are
// analyzed with their frames, at most with a warning. The tool has half a minute for it, and but 2
// GiB of memory unless a checker needs more.
void ExpectAnswers(const std::vector<HostileFile>& files,
                   const std::string& keys = "temporal properties");

} // namespace qel::tool
