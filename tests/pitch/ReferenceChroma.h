// Pitch classes, key correlations, tonal centroid and the key of a stream, computed anew in double
// precision and the long way: a dense matrix of weights, and all 25 by 25 products of the key
// profiles. For tests of the library.
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace qel::test {

inline constexpr std::size_t kPitchClasses = 12;
inline constexpr std::size_t kKeys = 24;
inline constexpr std::size_t kCentroidSize = 6;

using PitchClasses = std::array<double, kPitchClasses>;
using KeyCorrelations = std::array<double, kKeys>;
using TonalCentroid = std::array<double, kCentroidSize>;

// The number of a semitone at 261.6256 Hz is 0. Where a semitone's cell begins and ends is
// decided in single precision, as it is part of the definition.
float SemitoneFrequency(float semitone);
float NearestSemitone(float frequencyHz);
// Half way from a semitone to the one above.
double UpperCellEdge(float semitone);

class ReferenceChroma {
public:
    explicit ReferenceChroma(double rateHz, std::size_t frameSize = 8192);

    std::size_t Bins() const { return mFrequencies.size(); }
    std::size_t Semitones() const { return mSemitones.size(); }
    float LowestSemitone() const { return mSemitones.front(); }
    // Bin 0 is bin 1 of the transform. All sums of a column are 1 or 0.
    double Weight(std::size_t semitone, std::size_t bin) const {
        return mWeights[semitone * Bins() + bin];
    }
    float Frequency(std::size_t bin) const { return mFrequencies[bin]; }

    // Sums of magnitudes, on the scale of twice the discrete Fourier transform.
    PitchClasses Sums(std::span<const float> frame) const;

private:
    std::vector<double> Magnitudes(std::span<const float> frame) const;

    std::vector<double> mWindow;
    std::vector<float> mFrequencies;
    std::vector<float> mSemitones;
    std::vector<double> mWeights;
};

// Divided by the largest, whatever that is.
PitchClasses Normalized(const PitchClasses& sums);
KeyCorrelations Correlations(const PitchClasses& profile);
TonalCentroid Centroid(const PitchClasses& profile);

// Entry p of the profile of a key, centred.
double KeyProfile(std::size_t key, std::size_t pitchClass);
// The first of the largest.
std::size_t BestKey(std::span<const double> correlations);
std::size_t BestKey(std::span<const float> correlations);

std::string KeyName(std::size_t key);
std::size_t KeyIndex(const std::string& name); // kKeys if there is none

// The number of the fullest of 24 classes that reach from the least to the greatest key, the first
// of several: what names the stream. In whole numbers.
std::size_t FullestClass(std::span<const std::size_t> keys);

} // namespace qel::test
