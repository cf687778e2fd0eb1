#include "tests/pitch/ReferenceChroma.h"

#include "tests/harness/DoubleTransform.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

namespace qel::test {
namespace {

constexpr double kReferenceHz = 261.6256;
constexpr std::size_t kColumns = kKeys + 1;

constexpr double kMajor[] = {0.4678,   -0.25387, 0.09936,  -0.33488, 0.32221,  -0.063486,
                             -0.21791, 0.4426,   -0.25203, 0.12059,  -0.36999, 0.039597};
constexpr double kMinor[] = {0.49021,  -0.32921, 0.026797, 0.2494,   -0.15248,   -0.083309,
                             -0.27245, 0.41468,  -0.07965, -0.11405, -0.0041909, -0.14575};

constexpr const char* kNames[] = {
    "C Major",  "C# Major", "D Major",  "D# Major", "E Major",  "F major",  "F# major", "G Major",
    "G# Major", "A Major",  "A# Major", "B Major",  "C Minor",  "C# Minor", "D Minor",  "D# Minor",
    "E Minor",  "F Minor",  "F# Minor", "G Minor",  "G# Minor", "A Minor",  "A# Minor", "B Minor"};
static_assert(std::size(kNames) == kKeys);

double LowerCellEdge(float semitone) {
    const float center = SemitoneFrequency(semitone);
    const float difference = center - SemitoneFrequency(semitone - 1.0f);
    return static_cast<double>(center) - 0.5 * static_cast<double>(difference);
}

template <class Value>
std::size_t FirstOfLargest(std::span<const Value> values) {
    return static_cast<std::size_t>(std::max_element(values.begin(), values.end()) -
                                    values.begin());
}

} // namespace

float SemitoneFrequency(float semitone) {
    return std::pow(2.0f, semitone / 12.0f) * static_cast<float>(kReferenceHz);
}

float NearestSemitone(float frequencyHz) {
    const auto ratio = static_cast<float>(static_cast<double>(frequencyHz) / kReferenceHz);
    return static_cast<float>(std::round(12.0 * static_cast<double>(std::log2(ratio))));
}

double UpperCellEdge(float semitone) {
    const float center = SemitoneFrequency(semitone);
    const float difference = center - SemitoneFrequency(semitone + 1.0f);
    return static_cast<double>(center) - 0.5 * static_cast<double>(difference);
}

ReferenceChroma::ReferenceChroma(double rateHz, std::size_t frameSize)
    : mWindow(frameSize), mFrequencies(frameSize / 2 - 1) {
    const double turn = 2.0 * std::numbers::pi / static_cast<double>(frameSize - 1);
    for (std::size_t i = 0; i < frameSize; ++i) {
        mWindow[i] = 0.54 - 0.46 * std::cos(static_cast<double>(i) * turn);
    }
    for (std::size_t i = 0; i < Bins(); ++i) {
        mFrequencies[i] =
            static_cast<float>(i + 1) * static_cast<float>(rateHz) / static_cast<float>(frameSize);
    }
    const float lowest = NearestSemitone(mFrequencies.front());
    const float highest = NearestSemitone(mFrequencies.back());
    mSemitones.resize(static_cast<std::size_t>(1.0f + (highest - lowest)));
    std::iota(mSemitones.begin(), mSemitones.end(), lowest);
    mWeights.resize(Semitones() * Bins());
    for (std::size_t j = 0; j < Semitones(); ++j) {
        const double lower = LowerCellEdge(mSemitones[j]);
        const double upper = UpperCellEdge(mSemitones[j]);
        for (std::size_t i = 0; i < Bins(); ++i) {
            const auto frequencyHz = static_cast<double>(mFrequencies[i]);
            mWeights[j * Bins() + i] = frequencyHz > lower && frequencyHz < upper ? 1.0 : 0.0;
        }
    }
}

std::vector<double> ReferenceChroma::Magnitudes(std::span<const float> frame) const {
    const double sum = std::accumulate(frame.begin(), frame.end(), 0.0);
    const double mean = sum / static_cast<double>(frame.size());
    std::vector<qel::testing::Number> spectrum(frame.size());
    for (std::size_t i = 0; i < frame.size(); ++i) {
        spectrum[i] = (static_cast<double>(frame[i]) - mean) * mWindow[i];
    }
    qel::testing::Transform(spectrum);
    std::vector<double> magnitudes(Bins());
    for (std::size_t i = 0; i < Bins(); ++i) {
        magnitudes[i] = 2.0 * std::abs(spectrum[i + 1]);
    }
    return magnitudes;
}

PitchClasses ReferenceChroma::Sums(std::span<const float> frame) const {
    const std::vector<double> magnitudes = Magnitudes(frame);
    PitchClasses sums{};
    for (std::size_t j = 0; j < Semitones(); ++j) {
        const auto semitone = static_cast<long>(mSemitones[j]);
        const auto pitchClass = static_cast<std::size_t>((semitone % 12 + 12) % 12);
        sums[pitchClass] +=
            std::inner_product(magnitudes.begin(), magnitudes.end(),
                               mWeights.begin() + static_cast<std::ptrdiff_t>(j * Bins()), 0.0);
    }
    return sums;
}

PitchClasses Normalized(const PitchClasses& sums) {
    const double largest = *std::max_element(sums.begin(), sums.end());
    PitchClasses profile{};
    std::transform(sums.begin(), sums.end(), profile.begin(),
                   [largest](double sum) { return sum / largest; });
    return profile;
}

double KeyProfile(std::size_t key, std::size_t pitchClass) {
    const double* base = key < 12 ? kMajor : kMinor;
    return base[(pitchClass + 12 - key % 12) % 12];
}

KeyCorrelations Correlations(const PitchClasses& profile) {
    const double mean = std::accumulate(profile.begin(), profile.end(), 0.0) / 12.0;
    std::array<PitchClasses, kColumns> columns{};
    for (std::size_t p = 0; p < kPitchClasses; ++p) {
        columns[0][p] = profile[p] / mean;
        for (std::size_t key = 0; key < kKeys; ++key) {
            columns[key + 1][p] = KeyProfile(key, p);
        }
    }
    std::array<std::array<double, kColumns>, kColumns> products{};
    for (std::size_t i = 0; i < kColumns; ++i) {
        for (std::size_t j = 0; j < kColumns; ++j) {
            products[i][j] =
                std::inner_product(columns[i].begin(), columns[i].end(), columns[j].begin(), 0.0) /
                24.0;
        }
    }
    KeyCorrelations correlations{};
    for (std::size_t key = 0; key < kKeys; ++key) {
        const double scale = std::sqrt(products[0][0]) * std::sqrt(products[key + 1][key + 1]);
        const double value = products[0][key + 1] / scale;
        correlations[key] = std::isnan(value) ? 0.0 : std::clamp(value, -1.0, 1.0);
    }
    return correlations;
}

TonalCentroid Centroid(const PitchClasses& profile) {
    TonalCentroid centroid{};
    double total = 0.0;
    for (std::size_t p = 0; p < kPitchClasses; ++p) {
        const double angle = static_cast<double>(p) * std::numbers::pi;
        centroid[0] += profile[p] * std::sin(7.0 * angle / 6.0);
        centroid[1] += profile[p] * std::cos(7.0 * angle / 6.0);
        centroid[2] += profile[p] * std::sin(3.0 * angle / 2.0);
        centroid[3] += profile[p] * std::cos(3.0 * angle / 2.0);
        centroid[4] += profile[p] * 0.5 * std::sin(2.0 * angle / 3.0);
        centroid[5] += profile[p] * 0.5 * std::cos(2.0 * angle / 3.0);
        total += std::abs(profile[p]);
    }
    for (double& value : centroid) {
        value /= total;
    }
    return centroid;
}

std::size_t BestKey(std::span<const double> correlations) {
    return FirstOfLargest(correlations);
}

std::size_t BestKey(std::span<const float> correlations) {
    return FirstOfLargest(correlations);
}

std::string KeyName(std::size_t key) {
    return kNames[key];
}

std::size_t KeyIndex(const std::string& name) {
    return static_cast<std::size_t>(std::find(std::begin(kNames), std::end(kNames), name) -
                                    std::begin(kNames));
}

std::size_t FullestClass(std::span<const std::size_t> keys) {
    std::array<std::size_t, kKeys> counts{};
    if (!keys.empty()) {
        const auto [least, greatest] = std::minmax_element(keys.begin(), keys.end());
        for (const std::size_t key : keys) {
            ++counts[(key - *least) * kKeys / (*greatest - *least + 1)];
        }
    }
    return FirstOfLargest(std::span<const std::size_t>(counts));
}

} // namespace qel::test
