#pragma once

#include <iosfwd>

namespace qel::media {

// Whether a Matroska or WebM file ends before its segment does, or inside of a cluster or a block.
// FFmpeg reads such a file to its end without a word.
//
// A file that was streamed states no size of the segment: its clusters and blocks are then looked
// at one by one. Cut between two of these, it cannot be told from one that ends there. False for
// anything else, and where a cluster stands after more than a million elements.
bool MatroskaIsCut(std::istream& file);

} // namespace qel::media
