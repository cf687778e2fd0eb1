#pragma once

#include "readings/rhythm/BandLevels.h"
#include "readings/rhythm/SoundingParts.h"

#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace qel::readings {

// How much sound begins in each frame of "spectrum": the rise of the logarithmic magnitudes of some
// 36 bands against the frame before, where a band's neighbours count as well, so that vibrato is no
// rise. After Boeck and Widmer, Maximum filter vibrato suppression for onset detection, DAFx, 2013,
// with the logarithmic compression of Mueller, Ewert and Kreuzer, Making chroma features more
// robust to timbre changes, ICASSP, 2009.
//
// Magnitudes count relative to the level of the stream, so that its gain has no influence.
class OnsetStrength {
public:
    // Of these frames of a stream whose level (levelOf) is above 0.
    OnsetStrength(const BandLevels& levels, float level, FrameRange frames);

    // The mean rise of all bands, and of those below 160 Hz, from there to 2500 Hz, and above.
    const std::vector<float>& all() const { return mAll; }
    const std::vector<float>& low() const { return mLow; }
    const std::vector<float>& middle() const { return mMiddle; }
    const std::vector<float>& high() const { return mHigh; }

    // The sums of the magnitudes of the same bands, low, middle and high. Added over the frames of
    // a stroke, they hardly depend on where frames cut it, as rises do: half-overlapping windows
    // add to 1.
    const std::array<std::vector<float>, 3>& magnitudes() const { return mMagnitudes; }

private:
    struct Rises {
        float low = 0;
        float middle = 0;
        float high = 0;
    };

    Rises risesOf(std::span<const float> now, std::span<const float> before) const;
    void append(const Rises& rises);
    void appendMagnitudes(std::span<const float> frame);

    std::size_t mBands;
    std::size_t mFirstMiddle = 0; // bands in front of it are low
    std::size_t mFirstHigh = 0;
    std::vector<float> mAll;
    std::vector<float> mLow;
    std::vector<float> mMiddle;
    std::vector<float> mHigh;
    std::array<std::vector<float>, 3> mMagnitudes;
};

} // namespace qel::readings
