#pragma once

#include <cstdint>
#include <iosfwd>

namespace qel::media {

// How many pages of an Ogg file have a wrong checksum, or are missing by the numbers that pages
// carry. FFmpeg passes over a page with a wrong checksum, with all packets that it holds, and does
// not miss one that is not there.
//
// What stands before the first page or after the last one is no damage of a page, and neither is a
// stream that begins in the middle, as a recording of a broadcast does, or follows another stream.
// After a thousand faults nothing more is looked at.
std::int64_t CountDamagedOggPages(std::istream& file);

} // namespace qel::media
