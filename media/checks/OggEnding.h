#pragma once

#include <iosfwd>

namespace qel::media {

// Whether an Ogg file ends inside of a page, which no program writes and no recording of a stream
// leaves: the file was cut.
//
// False for anything without a page in its last 128 KiB, the room of two largest pages.
bool OggIsTruncated(std::istream& file);

// Whether the last page lacks the flag of the last page of a stream (RFC 3533). The file was cut
// between two pages, or it is the recording of a broadcast, which has no end.
//
// False where OggIsTruncated is true, and where there is no page in the last 128 KiB.
bool OggLacksEnd(std::istream& file);

} // namespace qel::media
