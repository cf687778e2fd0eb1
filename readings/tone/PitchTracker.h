#pragma once

#include <QelReadings.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace qel::readings {

// The fundamental frequency of one voice, from frames of "mel spectrum". The peaks of a frame vote
// for fundamentals of which they are harmonics, and harmonics that are missing vote against them,
// after Maher and Beauchamp, Fundamental frequency estimation of musical signals using a two-way
// mismatch procedure, J. Acoust. Soc. Am. 95(4), 1994; the likeliest path through the candidates of
// all frames is the pitch.
//
// Keeps some 80 bytes per frame.
class PitchTracker {
public:
    explicit PitchTracker(double sampleRateHz);

    // The magnitudes of a frame.
    void add(std::span<const float> magnitudes);
    std::vector<Pitch> finish() const;
    void reset();

private:
    static constexpr std::size_t kCandidates = 8;

    struct Peak {
        float hz;
        float salience; // the root of the magnitude, 1 for the strongest
    };
    struct Candidate {
        float hz; // 0: no pitch
        float score;
    };
    struct Frame {
        std::array<Candidate, kCandidates> candidates;
        std::uint32_t count;
        float level; // the magnitude of the greatest peak
    };

    std::size_t endOf(std::span<const float> magnitudes) const;
    float levelOf(std::span<const float> magnitudes) const;
    std::vector<Peak> peaksOf(std::span<const float> magnitudes, float greatest) const;
    std::span<const Candidate> candidatesOf(const Frame& frame) const;
    static std::vector<float> fundamentalsOf(const std::vector<Peak>& peaks);
    static float explainedOf(const std::vector<Peak>& peaks, float hz);
    static float scoreOf(const std::vector<Peak>& peaks, float hz);

    const double mSampleRateHz;
    const double mBinHz;
    std::vector<Frame> mFrames;
    float mLoudest = 0; // the greatest level
};

} // namespace qel::readings
