#pragma once

#include "page/FileReader.h"
#include "page/Song.h"

#include <cstdint>
#include <functional>
#include <string>

namespace qel::page {

// Asked and told while a file is worked on. Both may be empty.
struct SongProgress {
    std::function<void(std::int64_t expectedFrames, int sampleRateHz)> begin;
    std::function<void(std::int64_t frames)> advance;
};

// Decodes a file once and collects what its page shows. Throws SongError, media::Error or
// qel::Error for a file that cannot be shown, and Interrupt::Requested.
Song CollectSong(const std::string& path, const SongProgress& progress);

} // namespace qel::page
