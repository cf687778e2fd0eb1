#include "readings/PitchTracker.h"

#include <algorithm>
#include <cmath>

namespace qel::readings {
namespace {

constexpr double kFrameSamples = 4096;
constexpr double kHopSamples = 2048;
constexpr float kLowestHz = 60;
constexpr float kHighestHz = 1300;
constexpr double kHighestPeakHz = 16000;
constexpr float kFullScale = 2048;    // the magnitude of a sine of amplitude 1
constexpr float kQuietest = 3e-4f;    // the amplitude below which a frame is silent
constexpr float kWeakestPeak = 0.01f; // of the strongest
constexpr std::size_t kMostPeaks = 30;
constexpr std::size_t kVoters = 12; // the lowest peaks
constexpr int kVotes = 6;           // each may be one of the first 6 harmonics
constexpr int kMostHarmonics = 10;  // that are missed
constexpr float kHighestHarmonicHz = 5000;
constexpr float kMissingShare = 0.35f; // of the strongest peak, for a harmonic to be there
constexpr float kMissingCost = 0.5f;
constexpr float kVoicedScore = 0.35f; // below it, a frame has no pitch
// What a step of an octave or more costs on the path.
constexpr float kOctaveCost = 0.25f;
constexpr float kVoicingCost = 0.1f;

// How well two frequencies agree near a multiple of `hz`: 1 to 0.
float agreement(float deviationHz, float hz) {
    const float share = deviationHz / (0.03f * hz + 4);
    return std::max(1 - share * share, 0.0f);
}

float costOf(float fromHz, float toHz) {
    if (fromHz == 0 || toHz == 0) {
        return fromHz == toHz ? 0 : kVoicingCost;
    }
    return kOctaveCost * std::min(std::abs(std::log2(toHz / fromHz)), 1.0f);
}

} // namespace

PitchTracker::PitchTracker(double sampleRateHz)
    : mSampleRateHz(sampleRateHz), mBinHz(sampleRateHz / kFrameSamples) {}

// Local maxima, with the vertex of the parabola through the logarithms.
std::vector<PitchTracker::Peak> PitchTracker::peaksOf(std::span<const float> magnitudes) const {
    std::vector<Peak> peaks;
    const auto bins = std::min(magnitudes.size() - 1,
                               static_cast<std::size_t>(std::lround(kHighestPeakHz / mBinHz)));
    float greatest = 0;
    for (std::size_t k = 2; k < bins; ++k) {
        if (magnitudes[k] > magnitudes[k - 1] && magnitudes[k] >= magnitudes[k + 1]) {
            greatest = std::max(greatest, magnitudes[k]);
        }
    }
    if (greatest < kQuietest * kFullScale) {
        return peaks;
    }
    for (std::size_t k = 2; k < bins; ++k) {
        const bool isPeak = magnitudes[k] > magnitudes[k - 1] && magnitudes[k] >= magnitudes[k + 1];
        if (!isPeak || magnitudes[k] < kWeakestPeak * greatest) {
            continue;
        }
        const auto level = [&](std::size_t bin) {
            return std::log(double{magnitudes[bin]} + 1e-9 * kFullScale);
        };
        const double bend = level(k - 1) - 2 * level(k) + level(k + 1);
        const double shift = bend < 0 ? (level(k - 1) - level(k + 1)) / (2 * bend) : 0;
        peaks.push_back({static_cast<float>((static_cast<double>(k) + shift) * mBinHz),
                         std::sqrt(magnitudes[k] / greatest)});
    }
    if (peaks.size() > kMostPeaks) {
        std::ranges::nth_element(peaks, peaks.begin() + kMostPeaks, std::greater(),
                                 &Peak::salience);
        peaks.resize(kMostPeaks);
        std::ranges::sort(peaks, {}, &Peak::hz);
    }
    return peaks;
}

std::vector<float> PitchTracker::fundamentalsOf(const std::vector<Peak>& peaks) {
    std::vector<float> found;
    for (std::size_t i = 0; i < std::min(peaks.size(), kVoters); ++i) {
        for (int harmonic = 1; harmonic <= kVotes; ++harmonic) {
            const float hz = peaks[i].hz / static_cast<float>(harmonic);
            if (hz >= kLowestHz && hz <= kHighestHz) {
                found.push_back(hz);
            }
        }
    }
    return found;
}

// The share of the peaks that are harmonics, less what is missing of the first harmonics.
float PitchTracker::scoreOf(const std::vector<Peak>& peaks, float hz) {
    float explained = 0;
    float all = 0;
    for (const Peak& peak : peaks) {
        const float harmonic = std::max(std::round(peak.hz / hz), 1.0f);
        explained += peak.salience * agreement(std::abs(peak.hz - harmonic * hz), hz);
        all += peak.salience;
    }
    const float highest = std::min(peaks.back().hz, kHighestHarmonicHz);
    const int harmonics = std::clamp(static_cast<int>(highest / hz + 0.5f), 1, kMostHarmonics);
    float missing = 0;
    for (int harmonic = 1; harmonic <= harmonics; ++harmonic) {
        float there = 0;
        for (const Peak& peak : peaks) {
            const float deviation = std::abs(peak.hz - static_cast<float>(harmonic) * hz);
            there = std::max(there, peak.salience * agreement(deviation, hz));
        }
        missing += 1 - std::min(there / kMissingShare, 1.0f);
    }
    return explained / all - kMissingCost * missing / static_cast<float>(harmonics);
}

void PitchTracker::add(std::span<const float> magnitudes) {
    Frame& frame = mFrames.emplace_back();
    const std::vector<Peak> peaks = peaksOf(magnitudes);
    std::vector<Candidate> all{{0, kVoicedScore}};
    for (const float hz : fundamentalsOf(peaks)) {
        all.push_back({hz, scoreOf(peaks, hz)});
    }
    const std::size_t count = std::min(all.size(), kCandidates);
    std::ranges::partial_sort(all, all.begin() + static_cast<std::ptrdiff_t>(count), std::greater(),
                              &Candidate::score);
    std::copy_n(all.begin(), count, frame.candidates.begin());
    frame.count = static_cast<std::uint32_t>(count);
}

std::vector<Pitch> PitchTracker::finish() const {
    std::vector<std::array<std::uint8_t, kCandidates>> from(mFrames.size());
    std::array<float, kCandidates> score{};
    for (std::size_t t = 0; t < mFrames.size(); ++t) {
        const std::array<float, kCandidates> before = score;
        for (std::size_t to = 0; to < mFrames[t].count; ++to) {
            const Candidate& candidate = mFrames[t].candidates[to];
            float best = 0;
            for (std::size_t i = 0; t > 0 && i < mFrames[t - 1].count; ++i) {
                const float other =
                    before[i] - costOf(mFrames[t - 1].candidates[i].hz, candidate.hz);
                if (i == 0 || other > best) {
                    best = other;
                    from[t][to] = static_cast<std::uint8_t>(i);
                }
            }
            score[to] = best + candidate.score;
        }
    }
    std::vector<Pitch> pitches(mFrames.size());
    if (mFrames.empty()) {
        return pitches;
    }
    auto at = static_cast<std::size_t>(
        std::max_element(score.begin(), score.begin() + mFrames.back().count) - score.begin());
    for (std::size_t t = mFrames.size(); t-- > 0;) {
        const Candidate& candidate = mFrames[t].candidates[at];
        pitches[t].seconds =
            (static_cast<double>(t) * kHopSamples + kFrameSamples / 2) / mSampleRateHz;
        pitches[t].frequencyHz = candidate.hz;
        pitches[t].strength = candidate.hz > 0 ? std::clamp(candidate.score, 0.0f, 1.0f) : 0;
        at = from[t][at];
    }
    return pitches;
}

} // namespace qel::readings
