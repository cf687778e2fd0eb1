#pragma once

#include "tests/harness/TempDirectory.h"

#include <cstddef>
#include <string>
#include <vector>

namespace qel::media {

// A container and a codec that the ffmpeg command writes: a line of tests/media/Pairs.txt.
struct MediaPair {
    std::string name; // the end of a file's name
    std::string rateHz;
    std::string channels;
    std::vector<std::string> arguments;
};

// All of the list.
std::vector<MediaPair> MediaPairs();

// The pairs of these names.
std::vector<MediaPair> MediaPairs(const std::vector<std::string>& names);

// Codes so many samples of noise in every pair, by one run of the ffmpeg command, into files with
// the names "audio." + name.
void EncodePairs(const std::vector<MediaPair>& pairs, std::size_t frames,
                 const test::TempDirectory& directory);

} // namespace qel::media
