#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>

namespace qel::media {

// How long a track of an MP4 file lasts, to the sample.
//
// Such a file states its length twice. The edit list says what is to be played, on the movie's
// clock, which often ticks a thousand times a second only; the track says how much there is, on a
// clock that ticks once per sample. Where both mean the same end, the finer one is right, and
// following the coarse one would cut off up to half a tick of audio.
struct MovieTiming {
    std::int64_t length = 0; // from the edit's start to the track's end, in ticks
    std::int64_t clock = 0;  // ticks per second

    // Reads the boxes of a file. Empty unless the track has exactly one edit of media, and its end
    // and the track's own lie within one tick of the movie's clock; empty also for fragmented
    // files, whose header does not know their length, and for files of more than some 100000 boxes.
    static std::optional<MovieTiming> Read(std::istream& file, std::int64_t trackID);
};

} // namespace qel::media
