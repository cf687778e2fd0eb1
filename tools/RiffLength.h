#pragma once

#include <cstdint>
#include <iosfwd>

namespace qel::tool {

// Whether a WAV file ends before its audio does, by its own header. FFmpeg reads such a file to its
// end and drops the stated length, so that the header has to be looked at here.
//
// False for anything that is no RIFF file, for what programs write which stream to a pipe and
// never learn the length (0, and sizes from 2 GiB less a page upwards), and for a file
// whose audio stands behind more than 65536 other chunks.
bool RiffIsTruncated(std::istream& file);

} // namespace qel::tool
