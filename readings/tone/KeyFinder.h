#pragma once

#include "readings/tone/KeyStrength.h"
#include "readings/tone/PitchClasses.h"
#include "readings/tone/SteadyPeaks.h"

#include <QelReadings.hpp>

#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace qel::readings {

// Finds the key of a stream from frames of "mel spectrum": the key whose profile correlates best
// with the pitch classes of the whole stream. After Krumhansl, Cognitive foundations of musical
// pitch, Oxford University Press, 1990, with the profiles of Temperley, Music and probability, MIT
// Press, 2007, which are shares of the pitch classes in pieces of known key.
//
// Keeps 480 bytes per second of audio.
class KeyFinder {
public:
    static constexpr std::size_t kKeys = 24; // 12 major, then 12 minor, from C upwards

    explicit KeyFinder(double sampleRateHz);

    // The magnitudes of a frame.
    void add(std::span<const float> magnitudes);
    KeyAnswer finish(double streamSeconds) const;
    void reset();

    // What finish() judges, also where the strength is too low for an answer.
    struct Finding {
        std::size_t main = 0;
        std::size_t runnerUp = 0;
        std::vector<std::size_t> keyOfEachSlice;
        KeyEvidence evidence;
    };
    Finding find() const;

private:
    using Correlations = std::array<double, kKeys>;

    std::vector<std::size_t> keyOfEachSlice(double tuning) const;
    std::vector<KeySegment> segments(double streamSeconds, const std::vector<std::size_t>& keys,
                                     std::size_t main) const;
    double agreement(double tuning) const;
    static std::size_t longest(const std::vector<std::size_t>& keys);
    PitchClasses classesOf(std::size_t key, const std::vector<std::size_t>& keys) const;

    const double mSampleRateHz;
    const std::size_t mSliceFrames; // about a second
    std::size_t mFrames = 0;
    std::size_t mSoundingFrames = 0;
    SteadyPeaks mPeaks;
    PitchClasses mSlice; // that is not yet complete
    std::vector<PitchClasses> mSlices;
};

} // namespace qel::readings
