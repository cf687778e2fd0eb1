#pragma once

#include <QelReadings.hpp>

#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace qel::readings {

// Finds the key of a stream from the 24 correlations of each frame with the keys' profiles: the key
// with the greatest mean over the frames. A frame hardly holds more than a chord; the mean over
// many frames weighs the chords of a key as Krumhansl's profiles expect them.
//
// Keeps 96 bytes per second of audio.
class KeyFinder {
public:
    static constexpr std::size_t kKeys = 24; // 12 major, then 12 minor, from C upwards

    // The time between two frames.
    explicit KeyFinder(double hopSeconds);

    void add(std::span<const float> correlations);
    KeyAnswer finish(double streamSeconds) const;
    void reset();

private:
    using Sums = std::array<double, kKeys>;

    std::vector<std::size_t> keyOfEachSlice() const;
    std::vector<KeySegment> segments(double streamSeconds) const;

    const double mHopSeconds;
    const std::size_t mSliceFrames; // about a second
    std::size_t mFrames = 0;
    Sums mTotal{};
    Sums mSlice{};
    std::vector<std::array<float, kKeys>> mSlices; // means
};

} // namespace qel::readings
