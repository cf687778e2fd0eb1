#pragma once

#include "page/pictures/LaneList.h"
#include "page/pictures/Picture.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace qel::page {

// Makes a picture from its columns, as long a stream as may come: beyond a number of columns two
// become one, of which the greater value stays, so that memory and page stay small.
//
// Levels are kept in half decibels until the loudest one is known, which decides what is shown:
// from it, rounded up to 5 dB, as many decibels down as the lane spans.
class PictureBuilder {
public:
    // Pictures become half as long when they would have more columns than this: 6 minutes of
    // "spectrum" at 44.1 kHz stay whole.
    static constexpr std::size_t kMostColumns = 32768;

    // hopSeconds from column to column; the first one begins at firstSeconds.
    PictureBuilder(const Lane& lane, double firstSeconds, double hopSeconds,
                   std::size_t mostColumns = kMostColumns);

    // The next column, values of the key with row 0 first. What is not a number counts as 0.
    void Add(std::span<const float> column);

    // The picture up to a moment; columns that begin later are left out.
    Picture Finish(double endSeconds) const;

private:
    std::uint8_t Stored(float value) const;
    void Halve();

    const Lane mLane;
    const double mFirstSeconds;
    const double mHopSeconds;
    const std::size_t mMostColumns;
    std::size_t mHops = 1;     // in a column
    std::size_t mOpenHops = 0; // in the last column, which is open
    std::vector<std::uint8_t> mStored;
};

} // namespace qel::page
