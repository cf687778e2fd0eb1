#pragma once

#include <iosfwd>

namespace qel::media {

// Whether an Ogg file ends inside of a page, which no program writes and no recording of a stream
// leaves: the file was cut. A cut between two pages cannot be told from a recording's end.
//
// False for anything without a page in its last 128 KiB, the room of two largest pages.
bool OggIsTruncated(std::istream& file);

} // namespace qel::media
