#pragma once

#include <QelMedia.hpp>
#include <QelReadings.hpp>

#include <span>
#include <stdexcept>

namespace qel::page {

// A file that cannot be read or shown. what() is a line without its name.
struct SongError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A reader for the samples of an open file. Throws SongError for a rate or a number of channels
// that readings do not take.
readings::Reader ReaderOf(std::span<const readings::Reading> asked, const media::Reader& file);

} // namespace qel::page
