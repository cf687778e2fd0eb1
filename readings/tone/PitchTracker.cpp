#include "readings/tone/PitchTracker.h"

#include <algorithm>
#include <cmath>

namespace qel::readings {
namespace {

constexpr double kFrameSamples = 4096;
constexpr double kHopSamples = 2048;
constexpr float kLowestHz = 60;
constexpr float kHighestHz = 1300;
constexpr std::size_t kFirstBin = 2;
constexpr double kHighestPeakHz = 16000;
constexpr float kFullScale = 2048;    // the magnitude of a sine of amplitude 1
constexpr float kQuietest = 3e-4f;    // the amplitude below which a frame is silent
constexpr float kQuietShare = 0.003f; // of the loudest frame: what is 50 dB below it is silent
// Of the strongest peak. Weaker ones are noise and sidelobes as often as harmonics, and the roots
// of their magnitudes together weigh more than the harmonics.
constexpr float kWeakestPeak = 0.05f;
constexpr std::size_t kMostPeaks = 30;
constexpr std::size_t kVoters = 12; // the lowest peaks
constexpr int kVotes = 6;           // each may be one of the first 6 harmonics
constexpr int kMostHarmonics = 10;  // that are missed
constexpr float kHighestHarmonicHz = 5000;
constexpr float kMissingShare = 0.35f; // of the strongest peak, for a harmonic to be there
constexpr float kMissingCost = 0.5f;
// Besides: the tones of a chord are harmonics of a fundamental that does not sound.
constexpr float kMissingFundamentalCost = 0.25f;
// Where the fourth harmonic is there, but the first and second are not: it is a tone of a chord.
constexpr float kChordToneCost = 0.15f;
// What the strongest peak that is no harmonic costs at most, and from which share of the strongest
// harmonic on: below, it is noise, reverberation or a softer voice.
constexpr float kRivalCost = 0.2f;
constexpr float kLeastRival = 0.8f;
// Only peaks near the first harmonics: voices out of tune and stiff strings miss higher ones.
constexpr float kRivalHarmonics = 4;
constexpr float kVoicedScore = 0.45f; // below it, a frame has no pitch
// What a step of an octave or more costs on the path.
constexpr float kOctaveCost = 0.25f;
constexpr float kVoicingCost = 0.2f;
constexpr float kTuning = 0.03f;       // of a harmonic's frequency: half a semitone
constexpr float kWidestTuning = 0.15f; // of the fundamental: wider, any peak would be a harmonic
constexpr float kFrequencyErrorHz = 4; // of a peak
constexpr float kTiny = 1e-9f;         // keeps quotients finite

// How well a frequency agrees with a harmonic of `hz`: 1 to 0. Vibrato, stiff strings and voices
// out of tune move or split a harmonic by a share of its frequency, so that the tolerance grows
// with its number.
float agreement(float deviationHz, float harmonic, float hz) {
    const float tolerance = std::min(kTuning * harmonic, kWidestTuning) * hz + kFrequencyErrorHz;
    const float share = deviationHz / tolerance;
    return std::max(1 - share * share, 0.0f);
}

bool isPeak(std::span<const float> magnitudes, std::size_t k) {
    return magnitudes[k] > magnitudes[k - 1] && magnitudes[k] >= magnitudes[k + 1];
}

// What a step from one frame to the next costs.
float costOf(float fromHz, float toHz) {
    if (fromHz == 0 || toHz == 0) {
        return fromHz == toHz ? 0 : kVoicingCost;
    }
    return kOctaveCost * std::min(std::abs(std::log2(toHz / fromHz)), 1.0f);
}

} // namespace

PitchTracker::PitchTracker(double sampleRateHz)
    : mSampleRateHz(sampleRateHz), mBinHz(sampleRateHz / kFrameSamples) {}

// The first bin that is not looked at.
std::size_t PitchTracker::endOf(std::span<const float> magnitudes) const {
    return std::min(magnitudes.size() - 1,
                    static_cast<std::size_t>(std::lround(kHighestPeakHz / mBinHz)));
}

float PitchTracker::levelOf(std::span<const float> magnitudes) const {
    float greatest = 0;
    for (std::size_t k = kFirstBin; k < endOf(magnitudes); ++k) {
        if (isPeak(magnitudes, k)) {
            greatest = std::max(greatest, magnitudes[k]);
        }
    }
    return greatest;
}

// Local maxima, with the vertex of the parabola through the logarithms.
std::vector<PitchTracker::Peak> PitchTracker::peaksOf(std::span<const float> magnitudes,
                                                      float greatest) const {
    std::vector<Peak> peaks;
    if (greatest < kQuietest * kFullScale) {
        return peaks;
    }
    for (std::size_t k = kFirstBin; k < endOf(magnitudes); ++k) {
        if (!isPeak(magnitudes, k) || magnitudes[k] < kWeakestPeak * greatest) {
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

// A peak above the range is a fundamental too. Without it, a tone there would be taken for the
// second harmonic of one an octave below.
std::vector<float> PitchTracker::fundamentalsOf(const std::vector<Peak>& peaks) {
    std::vector<float> found;
    for (std::size_t i = 0; i < std::min(peaks.size(), kVoters); ++i) {
        for (int harmonic = 1; harmonic <= kVotes; ++harmonic) {
            const float hz = peaks[i].hz / static_cast<float>(harmonic);
            if (hz >= kLowestHz && (hz <= kHighestHz || harmonic == 1)) {
                found.push_back(hz);
            }
        }
    }
    return found;
}

// The share of the peaks that are harmonics, less the cost of a peak that is none and about as
// strong: another voice sounds.
float PitchTracker::explainedOf(const std::vector<Peak>& peaks, float hz) {
    float explained = 0;
    float all = 0;
    float strongest = 0;
    float rival = 0;
    for (const Peak& peak : peaks) {
        const float harmonic = std::max(std::round(peak.hz / hz), 1.0f);
        const float deviation = std::abs(peak.hz - harmonic * hz);
        const float part = peak.salience * agreement(deviation, harmonic, hz);
        explained += part;
        all += peak.salience;
        strongest = std::max(strongest, part);
        // A tone that beats is split into peaks beside it.
        const bool isNear = agreement(deviation / 2, harmonic, hz) > 0;
        if (!isNear && harmonic <= kRivalHarmonics) {
            rival = std::max(rival, peak.salience);
        }
    }
    const float above = rival - kLeastRival * strongest;
    const float widest = std::max((1 - kLeastRival) * strongest, kTiny);
    return explained / all - kRivalCost * std::clamp(above / widest, 0.0f, 1.0f);
}

// What is explained, less what is missing of the first harmonics. The lower ones count more: high
// ones are missing from many sounds.
float PitchTracker::scoreOf(const std::vector<Peak>& peaks, float hz) {
    const float highest = std::min(peaks.back().hz, kHighestHarmonicHz);
    const int harmonics = std::clamp(static_cast<int>(highest / hz + 0.5f), 1, kMostHarmonics);
    float missingFundamental = 0;
    float missingOctave = 0; // and the fundamental
    float chordTone = 0;
    float missing = 0;
    float expected = 0;
    for (int number = 1; number <= harmonics; ++number) {
        const auto harmonic = static_cast<float>(number);
        float there = 0;
        for (const Peak& peak : peaks) {
            const float deviation = std::abs(peak.hz - harmonic * hz);
            there = std::max(there, peak.salience * agreement(deviation, harmonic, hz));
        }
        const float weight = 1 / std::sqrt(harmonic);
        const float lack = 1 - std::min(there / kMissingShare, 1.0f);
        missing += weight * lack;
        expected += weight;
        missingFundamental = number == 1 ? lack : missingFundamental;
        missingOctave = number == 2 ? missingFundamental * lack : missingOctave;
        chordTone = number == 4 ? missingOctave * (1 - lack) : chordTone;
    }
    return explainedOf(peaks, hz) - kMissingCost * missing / expected -
           kMissingFundamentalCost * missingFundamental - kChordToneCost * chordTone;
}

void PitchTracker::add(std::span<const float> magnitudes) {
    Frame& frame = mFrames.emplace_back();
    frame.level = levelOf(magnitudes);
    mLoudest = std::max(mLoudest, frame.level);
    const std::vector<Peak> peaks = peaksOf(magnitudes, frame.level);
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

// Of all frames only the end of the stream knows which is the loudest.
std::span<const PitchTracker::Candidate> PitchTracker::candidatesOf(const Frame& frame) const {
    static constexpr Candidate kNoPitch{0, kVoicedScore};
    if (frame.level < kQuietShare * mLoudest) {
        return {&kNoPitch, 1};
    }
    return {frame.candidates.data(), frame.count};
}

std::vector<Pitch> PitchTracker::finish() const {
    std::vector<std::array<std::uint8_t, kCandidates>> from(mFrames.size());
    std::array<float, kCandidates> score{};
    std::span<const Candidate> last;
    for (std::size_t t = 0; t < mFrames.size(); ++t) {
        const std::array<float, kCandidates> before = score;
        const std::span<const Candidate> candidates = candidatesOf(mFrames[t]);
        for (std::size_t to = 0; to < candidates.size(); ++to) {
            float best = 0;
            for (std::size_t i = 0; i < last.size(); ++i) {
                const float other = before[i] - costOf(last[i].hz, candidates[to].hz);
                if (i == 0 || other > best) {
                    best = other;
                    from[t][to] = static_cast<std::uint8_t>(i);
                }
            }
            score[to] = best + candidates[to].score;
        }
        last = candidates;
    }
    std::vector<Pitch> pitches(mFrames.size());
    auto at = static_cast<std::size_t>(
        std::max_element(score.begin(), score.begin() + static_cast<std::ptrdiff_t>(last.size())) -
        score.begin());
    for (std::size_t t = mFrames.size(); t-- > 0;) {
        const Candidate& candidate = candidatesOf(mFrames[t])[at];
        pitches[t].seconds =
            (static_cast<double>(t) * kHopSamples + kFrameSamples / 2) / mSampleRateHz;
        if (candidate.hz <= kHighestHz) {
            pitches[t].frequencyHz = candidate.hz;
            pitches[t].strength = candidate.hz > 0 ? std::clamp(candidate.score, 0.0f, 1.0f) : 0;
        }
        at = from[t][at];
    }
    return pitches;
}

void PitchTracker::reset() {
    mFrames.clear();
    mLoudest = 0;
}

} // namespace qel::readings
