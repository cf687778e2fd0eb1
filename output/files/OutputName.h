#pragma once

#include <filesystem>
#include <string>

namespace qel::output {

// The absolute path of an input, in which links to directories are followed. Links of the last
// component are not: a link is an input under a name of its own.
std::filesystem::path AbsolutePath(const std::filesystem::path& input);

// The directory that the outputs of an input stand in, below the directory of --output:
// "song.flac-b5bb9d8014a0". It depends on the path of the input alone, never on what else is
// analyzed: it is the input's own name, a hyphen, and the first 12 hexadecimal digits of the
// SHA-256 of its absolute path, in which links to directories are followed. So the same file has
// the same name from wherever it is reached through its directory, and equal names of different
// directories are told apart.
//
// A name that would be longer than the 255 bytes that file systems take is cut, at the start of a
// character of UTF-8.
std::string OutputName(const std::string& input);

} // namespace qel::output
