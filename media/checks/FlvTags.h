#pragma once

#include <iosfwd>

namespace qel::media {

// Whether a tag of a Flash video file is not followed by its own size, as every tag is: bytes are
// missing, or its header is damaged. FFmpeg searches for the next tag without a word.
//
// False for a file in which the first tag has it wrong already, as some programs write it, and for
// one that ends inside of a tag, or seems to as the size of a tag is damaged.
bool FlvTagIsBroken(std::istream& file);

} // namespace qel::media
