// Headroom, noise floor and cutoff of a stream, computed anew in double precision and the plain
// way: each figure from its definition, medians by sorting. For tests of the library.
//
// A spectrum is taken by levels of 1 dB, so a level that lies on an edge may fall to either side
// when it is computed in single precision. The reference counts every level three times: where it
// lies, and leaning down and up by as much as rounding may move it. Where the three agree there is
// one answer, which the library must give; where they do not, the answers bound it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace qel::test {

inline constexpr std::size_t kRangeFrame = 1024;
inline constexpr std::size_t kRangeHop = 512;
inline constexpr std::size_t kRangeSpectrum = kRangeFrame / 2 + 1;

// What is reported where there is no figure.
inline constexpr double kNoHeadroom = -1.0;
inline constexpr double kNoNoiseFloor = 100.0;
inline constexpr double kNoCutoff = -1.0;

struct ReferenceRangeFigures {
    double headroomLow = 0.0;
    double headroomHigh = 0.0;
    double noiseFloorLow = 0.0; // dB
    double noiseFloorHigh = 0.0;
    bool noiseFloorMayMiss = false; // rounding may also decide for no noise floor
    bool noiseFloorSettled = true;  // low and high are one, and it cannot be missed
    std::vector<double> cutoffs;    // Hz; every answer that rounding permits

    bool HasNoiseFloor() const { return noiseFloorHigh != kNoNoiseFloor; }
};

class ReferenceRange {
public:
    ReferenceRange(std::size_t channels, double rateHz);

    // Starts a new stream. Required by the contract: the samples counted for headroom and the half
    // frame that the last push ended with stay.
    void Reset();

    // One push, a vector of samples per channel. False, and nothing is taken, if the length is not
    // a multiple of half a frame, or nothing.
    bool Push(const std::vector<std::vector<float>>& audio, std::size_t first, std::size_t frames);

    ReferenceRangeFigures Figures(std::size_t channel) const;

    std::size_t UsableFrames(std::size_t channel) const { return mChannels[channel].usableFrames; }
    // Frames whose variance is too near the least that counts to be told from it.
    std::size_t DoubtfulFrames() const { return mDoubtfulFrames; }
    // Levels that may fall to either side of an edge.
    std::size_t DoubtfulLevels() const { return mDoubtfulLevels; }

private:
    static constexpr std::size_t kLevels = 200;
    static constexpr std::size_t kSteps = 1024;
    enum Lean { kPlain, kDown, kUp, kLeans };

    // A histogram. The three counts of a level, which mostly go up together, lie together.
    using Levels = std::array<std::array<std::uint32_t, kLeans>, kLevels>;
    struct Channel {
        std::vector<Levels> levels; // one histogram per bin
        std::array<std::vector<std::size_t>, kLeans> steps;
        std::vector<float> tail;
        std::size_t usableFrames = 0;
    };

    void CountSamples(Channel& channel, std::span<const float> samples);
    void CountFrame(Channel& channel, const std::vector<float>& frame);
    bool IsUsable(const std::vector<float>& frame);
    double Headroom(const std::vector<std::size_t>& steps) const;
    std::vector<int> MedianLevels(const Channel& channel, Lean lean) const;
    std::vector<double> CutoffsOf(const std::vector<double>& spectrum) const;

    double mRateHz;
    std::vector<Channel> mChannels;
    std::vector<double> mWindow;
    std::size_t mSamples = 0;
    std::size_t mDoubtfulFrames = 0;
    std::size_t mDoubtfulLevels = 0;
};

} // namespace qel::test
