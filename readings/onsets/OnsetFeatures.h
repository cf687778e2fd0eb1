#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace qel::readings {

// What changes from frame to frame of "spectrum", in a few numbers that tell onsets from other
// changes. All are relative to the greatest level of the last seconds, so that a quiet stream has
// the same ones as a loud one.
//
// Each group has one value for each of nine ranges of the spectrum:
// - Rises: the mean rise of the logarithmic magnitudes of narrow bands.
// - SteadyRises: the same above the greatest of the neighbouring bands in the frame before, so that
//   vibrato does not count (Boeck and Widmer, Maximum filter vibrato suppression for onset
//   detection, DAFx, 2013).
// - BinRises: the mean rise of the logarithmic magnitudes of single bins.
// - Surprise: how far rising bins are from where steady sines would bring them (Duxbury, Bello,
//   Davies and Sandler, Complex domain onset detection for musical signals, DAFx, 2003).
// - Power: the sum of the rises of the magnitudes.
// - LongRises, LongSteadyRises: as BinRises and SteadyRises, for bins of a frame of twice the
//   length, which tells apart tones that share a bin of the short one. It is the weighted sum of
//   three frames.
class OnsetFeatures {
public:
    static constexpr std::size_t kRanges = 9;
    static constexpr std::size_t kCount = 7 * kRanges + 1;
    using Values = std::array<float, kCount>;

    OnsetFeatures();

    // Takes the pairs of a frame of "spectrum" and returns the values of the frame before it, as
    // the long frame reaches one frame further. Silence comes before the first frame.
    const Values& add(std::span<const float> pairs);
    void reset();

private:
    static constexpr std::size_t kBins = 512;
    using Bins = std::array<float, kBins>;

    struct Frame {
        Bins real{};
        Bins imaginary{};
        Bins magnitudes{};
        std::vector<float> bands; // magnitudes of the narrow bands
        float level = 0;          // the greatest amplitude of the last seconds
        float share = 0;          // of the amplitude in that
    };
    struct Band {
        std::size_t firstBin;
        std::vector<float> weights;
    };
    // The order of the values; the share of the level follows Power.
    enum Group : std::size_t {
        kRises = 0,
        kSteadyRises = kRises + kRanges,
        kBinRises = kSteadyRises + kRanges,
        kSurprise = kBinRises + kRanges,
        kPower = kSurprise + kRanges,
        kShare = kPower + kRanges,
        kLongRises = kShare + 1,
        kLongSteadyRises = kLongRises + kRanges,
    };

    void makeBands();
    Frame& frame(std::size_t before) { return mFrames[(mTime - before) % mFrames.size()]; }
    Bins& longFrame(std::size_t before) { return mLongFrames[(mTime - before) % 3]; }
    void take(std::span<const float> pairs);
    void findBandRises(const Frame& now, const Frame& before);
    void findBinRises(const Frame& now, const Frame& before);
    void findSurprise(const Frame& now, const Frame& before, const Frame& earlier);
    void findLongRises();

    std::vector<Band> mBands;
    std::size_t mTime = 0; // of the last frame
    std::array<Frame, 4> mFrames;
    std::array<Bins, 3> mLongFrames; // 1 + gain * magnitude, relative to the level
    Bins mScratch{};
    std::vector<float> mRises; // of the narrow bands
    std::vector<float> mSteadyRises;
    Values mValues{};
};

} // namespace qel::readings
