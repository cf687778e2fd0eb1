#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace qel::readings {

// The magnitudes of some 36 bands of equal ratio, from 30 Hz on, in each frame of "spectrum". How
// loud the stream is becomes known at its end alone, so they are kept until then.
//
// Keeps 140 bytes per frame.
class BandLevels {
public:
    explicit BandLevels(double sampleRateHz);

    // The pairs of a frame of "spectrum".
    void add(std::span<const float> pairs);
    void reset();

    std::size_t bands() const { return mBands.size(); }
    double centreHz(std::size_t band) const { return mBands[band].centreHz; }
    std::size_t frames() const { return mAmplitudes.size(); }
    // The amplitude of a frame: 1 for a sine of amplitude 1.
    const std::vector<float>& amplitudes() const { return mAmplitudes; }

    // The magnitudes in a frame. A sine of amplitude 1 has 512.
    std::span<const float> frame(std::size_t frame) const {
        return std::span(mValues).subspan(frame * bands(), bands());
    }

private:
    struct Band {
        std::size_t firstBin;
        std::vector<float> weights;
        double centreHz;
    };

    std::vector<Band> mBands;
    std::vector<float> mMagnitudes; // by bin
    std::vector<float> mAmplitudes;
    std::vector<float> mValues; // by band, frame after frame
};

} // namespace qel::readings
