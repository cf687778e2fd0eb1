#pragma once

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
// Keeps 16 bytes per frame.
class OnsetStrength {
public:
    explicit OnsetStrength(double sampleRateHz);

    // The pairs of a frame of "spectrum".
    void add(std::span<const float> pairs);
    void reset();

    // The mean rise of all bands, and of those below 160 Hz, from there to 2500 Hz, and above.
    const std::vector<float>& all() const { return mAll; }
    const std::vector<float>& low() const { return mLow; }
    const std::vector<float>& middle() const { return mMiddle; }
    const std::vector<float>& high() const { return mHigh; }

private:
    struct Band {
        std::size_t firstBin;
        std::vector<float> weights;
        double centreHz;
    };

    void makeBands(double sampleRateHz);
    void takeMagnitudes(std::span<const float> pairs);
    float riseOf(std::size_t band) const;

    std::vector<Band> mBands;
    std::size_t mFirstMiddle = 0; // bands in front of it are low
    std::size_t mFirstHigh = 0;
    std::vector<float> mMagnitudes; // by bin
    std::vector<float> mLevels;     // by band
    std::vector<float> mLevelsBefore;
    std::vector<float> mAll;
    std::vector<float> mLow;
    std::vector<float> mMiddle;
    std::vector<float> mHigh;
};

} // namespace qel::readings
