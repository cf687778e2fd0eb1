#include "page/pictures/PictureBuilder.h"

#include "page/pictures/ColourMap.h"

#include <algorithm>
#include <cmath>

namespace qel::page {
namespace {

// A level in half decibels above the lowest one: 1 to 255 for -127 dB to 0 dB and a little above;
// 0 is everything below.
constexpr double kLowestDecibels = -122.5;
constexpr double kTopStep = 5; // decibels

double DecibelsOf(std::uint8_t stored) {
    return stored / 2.0 + kLowestDecibels;
}

std::uint8_t IndexOf(double place) {
    return static_cast<std::uint8_t>(std::lround(std::clamp(place, 0.0, 1.0) * (kColours - 1)));
}

} // namespace

PictureBuilder::PictureBuilder(const Lane& lane, double firstSeconds, double hopSeconds,
                               std::size_t mostColumns)
    : mLane(lane), mFirstSeconds(firstSeconds), mHopSeconds(hopSeconds), mMostColumns(mostColumns) {
}

std::uint8_t PictureBuilder::Stored(float value) const {
    if (!(value > 0)) {
        return 0;
    }
    if (mLane.spanDecibels == 0) {
        return static_cast<std::uint8_t>(std::lround(std::min(value, 1.0f) * 255));
    }
    const double decibels = 20 * std::log10(value / mLane.fullScale);
    return static_cast<std::uint8_t>(
        std::lround(std::clamp(2 * (decibels - kLowestDecibels), 0.0, 255.0)));
}

void PictureBuilder::Add(std::span<const float> column) {
    const std::size_t rows = column.size();
    if (mOpenHops == 0) {
        mStored.resize(mStored.size() + rows, 0);
    }
    std::uint8_t* last = mStored.data() + mStored.size() - rows;
    for (std::size_t row = 0; row < rows; ++row) {
        last[row] = std::max(last[row], Stored(column[row]));
    }
    mOpenHops = (mOpenHops + 1) % mHops;
    if (mOpenHops == 0 && mStored.size() / rows >= mMostColumns) {
        Halve();
    }
}

void PictureBuilder::Halve() {
    Picture whole;
    whole.rows = static_cast<std::size_t>(mLane.rows);
    whole.values = std::move(mStored);
    mStored = Reduced(whole, 2).values;
    mOpenHops = whole.Columns() % 2 == 0 ? 0 : mHops;
    mHops *= 2;
}

Picture PictureBuilder::Finish(double endSeconds) const {
    Picture picture;
    picture.rows = static_cast<std::size_t>(mLane.rows);
    picture.firstSeconds = mFirstSeconds;
    picture.columnSeconds = mHopSeconds * static_cast<double>(mHops);
    picture.isDecibels = mLane.spanDecibels > 0;
    picture.values = mStored;
    const double covered = std::max((endSeconds - mFirstSeconds) / picture.columnSeconds, 0.0);
    const auto columns = static_cast<std::size_t>(std::ceil(covered));
    picture.values.resize(std::min(picture.values.size(), columns * picture.rows));
    if (!picture.isDecibels) {
        picture.highest = 1;
        std::ranges::transform(picture.values, picture.values.begin(),
                               [](std::uint8_t stored) { return IndexOf(stored / 255.0); });
        return picture;
    }
    const auto greatest = std::ranges::max_element(picture.values);
    const double top = greatest == picture.values.end() ? 0 : DecibelsOf(*greatest);
    picture.highest = std::ceil(top / kTopStep) * kTopStep;
    picture.lowest = picture.highest - mLane.spanDecibels;
    std::ranges::transform(picture.values, picture.values.begin(), [&](std::uint8_t stored) {
        return stored == 0 ? std::uint8_t{0}
                           : IndexOf((DecibelsOf(stored) - picture.lowest) / mLane.spanDecibels);
    });
    return picture;
}

} // namespace qel::page
