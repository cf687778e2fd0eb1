#pragma once

#include <cstdint>
#include <iosfwd>

namespace qel::media {

// How often the packets of an MPEG transport stream do not follow one another: a packet is cut at
// the file's end, other bytes stand between two packets, or the counter that the packets of one
// stream carry has a gap. FFmpeg passes over all of it, and the marks that it sets on broken
// packets are lost where it puts frames together anew.
//
// pid is the number of the stream. A counter may repeat once, and jump where a packet says so. What
// stands after the last packet is no damage. 0 for a file that does not begin with packets.
std::int64_t CountTsGaps(std::istream& file, int pid);

} // namespace qel::media
