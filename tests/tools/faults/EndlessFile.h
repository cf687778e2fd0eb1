#pragma once

#include <string>

namespace qel::tool {

// A file that takes no room on the disk and does not end while anybody waits: what is given, and
// then zeros for a terabyte. Throws where the file system has no such files.
void WriteEndless(const std::string& path, const std::string& begin);

// A WAV of silence without end, at 48000 Hz, that states no length.
void WriteEndlessWav(const std::string& path);

} // namespace qel::tool
