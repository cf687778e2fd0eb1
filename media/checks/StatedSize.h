#pragma once

#include <iosfwd>
#include <string_view>

namespace qel::media {

// Whether a file whose header states how long its audio is, in bytes, blocks or samples, ends
// before that. FFmpeg reads such a file to its end. container is its name for it; known are
// "wsaud", "apm", "argo_asf", "adx", "swf" if it is not compressed, "rm", and "smjpeg", which
// states no size but has a mark at its end.
//
// False for any other file, and for the sizes of programs that could not go back to write the true
// one: 0, all ones, and 100 MiB in SWF.
bool StatedSizeIsCut(std::istream& file, std::string_view container);

} // namespace qel::media
