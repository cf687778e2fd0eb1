#include "tests/timbre/ReferencePartials.h"

#include "tests/harness/DoubleTransform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace qel::test {
namespace {

constexpr std::size_t kBins = 512;
constexpr double kFloor = 0.001f;

// What ten steps of a transform in single precision, the window and the root may do to a
// magnitude, as a share of the greatest one of the frame.
constexpr double kTransformError = 1e-7;
// Some roundings, each of 6e-8 of a value.
constexpr double kRounding = 3e-7;
// A bin number up to 511 has steps of 3e-5.
constexpr double kBinRounding = 6e-5;

constexpr int kMostWays = 20000;
constexpr std::size_t kMostStates = 64;
constexpr double kValueTolerance = 1e-4;

double Window(std::size_t i) {
    return 0.5 * (1.0 - std::cos(2.0 * std::numbers::pi * static_cast<double>(i + 1) / 1025.0));
}

// Twice the modulus of the transform; bin 0 holds the terms at both ends of the band.
std::vector<double> Magnitudes(std::span<const float> samples) {
    std::vector<testing::Number> x(kPartialsFrame);
    for (std::size_t i = 0; i < kPartialsFrame; ++i) {
        x[i] = Window(i) * static_cast<double>(samples[i]);
    }
    testing::Transform(x);
    std::vector<double> magnitudes(kBins);
    magnitudes[0] = 2.0 * std::hypot(x[0].real(), x[kBins].real());
    for (std::size_t k = 1; k < kBins; ++k) {
        magnitudes[k] = 2.0 * std::abs(x[k]);
    }
    return magnitudes;
}

} // namespace

ReferencePartials::ReferencePartials(double rateHz) : mRateHz(rateHz) {}

void ReferencePartials::Analyze(std::span<const float> samples) {
    mMagnitudes = Magnitudes(samples);
    const double greatest = *std::max_element(mMagnitudes.begin(), mMagnitudes.end());
    mLevelDoubt = kTransformError * greatest;
    mThreshold = std::log(greatest * 0.01 / 5.0);
    mThresholdDoubt = kTransformError + kRounding * (1.0 + std::abs(mThreshold));
    if (greatest == 0.0) {
        mThresholdDoubt = 0.0;
    }
    mLogs.assign(kBins, 0.0);
    mLogDoubts.assign(kBins, 0.0);
    for (std::size_t k = 0; k < kBins; ++k) {
        const bool surelyFloor = mMagnitudes[k] + mLevelDoubt < kFloor;
        mMagnitudes[k] = std::max(mMagnitudes[k], kFloor);
        mLogs[k] = std::log(mMagnitudes[k]);
        if (!surelyFloor) {
            mLogDoubts[k] = mLevelDoubt / mMagnitudes[k] + kRounding * (1.0 + std::abs(mLogs[k]));
        }
    }
    FindCandidates();
}

// Peaks, and what may be one.
void ReferencePartials::FindCandidates() {
    mCandidates.clear();
    for (std::size_t k = 1; k + 1 < kBins; ++k) {
        const double above = mLogs[k] - mLogs[k - 1];
        const double notBelow = mLogs[k] - mLogs[k + 1];
        const double aboveThreshold = mLogs[k] - mThreshold;
        const double aboveDoubt = mLogDoubts[k] + mLogDoubts[k - 1];
        const double notBelowDoubt = mLogDoubts[k] + mLogDoubts[k + 1];
        const double thresholdDoubt = mLogDoubts[k] + mThresholdDoubt;
        const bool possible =
            above > -aboveDoubt && notBelow >= -notBelowDoubt && aboveThreshold > -thresholdDoubt;
        const bool certain =
            above > aboveDoubt && notBelow >= notBelowDoubt && aboveThreshold > thresholdDoubt;
        if (possible) {
            mCandidates.push_back({k, certain});
        }
    }
}

// The vertex of the parabola through three bins.
ReferencePartials::Peak ReferencePartials::PeakAt(std::size_t bin) const {
    const std::size_t i = bin - 1;
    const double d1 = mLogs[bin] - mLogs[i];
    const double d2 = mLogs[bin + 1] - mLogs[i];
    const double curve = (-2.0 * d1 + d2) / 2.0;
    const double t = 1.0 - d1 / curve;
    const double doubt = std::max({mLogDoubts[i], mLogDoubts[bin], mLogDoubts[bin + 1]}) +
                         kRounding * (1.0 + std::abs(d1) + std::abs(d2));
    Peak peak{};
    peak.bin = static_cast<double>(i) + t / 2.0;
    peak.magnitude = std::exp(mLogs[i] + curve * t * t / -4.0);
    peak.logBelow = mLogs[i];
    // Both d1 and the curve are at most 2 doubts off, d1 / curve lies within -2 to 0.
    peak.binDoubt = 4.0 * doubt / std::max(std::abs(curve) - 2.0 * doubt, 1e-9) + kBinRounding;
    // The height is a weighted mean of the three, with weights whose moduli add up to 1.25.
    peak.logDoubt = 2.0 * doubt;
    return peak;
}

// Whether a difference is above 0; either way if it is too small to tell.
bool ReferencePartials::Decide(double difference, double margin) {
    if (std::abs(difference) >= margin) {
        return difference > 0.0;
    }
    if (mChoice == mChoices.size()) {
        mChoices.push_back(difference > 0.0);
        mChoices.push_back(false); // not tried the other way yet
    }
    const bool choice = mChoices[mChoice];
    mChoice += 2;
    return choice;
}

// The next way through the close comparisons; false when there is none left.
bool ReferencePartials::NextChoices() {
    mChoices.resize(mChoice);
    while (!mChoices.empty() && mChoices.back()) {
        mChoices.resize(mChoices.size() - 2);
    }
    if (mChoices.empty()) {
        return false;
    }
    mChoices.back() = true;
    mChoices[mChoices.size() - 2] = !mChoices[mChoices.size() - 2];
    return true;
}

bool ReferencePartials::Follow(std::span<const float> samples, const PartialRow& delivered) {
    Analyze(samples);
    std::vector<Tracks> next;
    bool close = false;
    for (const Tracks& state : mStates) {
        mChoices.clear();
        int ways = 0;
        do {
            mChoice = 0;
            Tracks result;
            if (Walk(state, delivered, result) && next.size() < kMostStates) {
                next.push_back(std::move(result));
            }
            close = close || mChoice > 0;
        } while (++ways < kMostWays && NextChoices());
    }
    // States that differ in nothing that a later comparison could tell are one.
    const auto same = [](const Track& a, const Track& b) {
        return a.missed == b.missed && std::abs(a.limit - b.limit) <= a.limitDoubt;
    };
    mStates.clear();
    for (Tracks& tracks : next) {
        const bool known = std::any_of(mStates.begin(), mStates.end(), [&](const Tracks& other) {
            return std::equal(tracks.begin(), tracks.end(), other.begin(), other.end(), same);
        });
        if (!known) {
            mStates.push_back(std::move(tracks));
        }
    }
    mCloseFrames += close ? 1 : 0;
    ++mFrame;
    if (!mStates.empty()) {
        CountValues(mStates.front());
    }
    return !mStates.empty();
}

// How far the delivered values are from the peaks that they came from.
void ReferencePartials::CountValues(const Tracks& tracks) {
    for (const Track& track : tracks) {
        if (track.missed > 0) {
            continue;
        }
        for (const Candidate& candidate : mCandidates) {
            const Peak peak = PeakAt(candidate.bin);
            if (std::abs(peak.bin - track.bin) <= peak.binDoubt) {
                const double frequencyError = std::abs(track.bin / peak.bin - 1.0);
                const double levelError = std::abs(track.magnitude / peak.magnitude - 1.0);
                ++mValues;
                mLooseValues += std::max(frequencyError, levelError) > kValueTolerance ? 1 : 0;
                break;
            }
        }
    }
}

// The frequency and the index stand for one bin number, the record's time is the frame's number.
bool ReferencePartials::Fits(const Peak& peak, const PartialRecord& record) const {
    const double bin = static_cast<double>(record.mFrequency) * 1024.0 / mRateHz;
    const double level = std::log(static_cast<double>(record.mMagnitude) / peak.magnitude);
    return std::abs(bin - peak.bin) <= peak.binDoubt && std::abs(level) <= peak.logDoubt &&
           record.mIndex >= std::floor(bin - kBinRounding) &&
           record.mIndex <= std::floor(bin + kBinRounding) && record.mPhase == 0.0f &&
           record.mTime == static_cast<double>(mFrame);
}

int ReferencePartials::Nearest(const Track& track, const std::vector<Peak>& peaks,
                               const std::vector<bool>& matched) {
    int nearest = -1;
    double distance = 1000000.0;
    for (std::size_t p = 0; p < peaks.size(); ++p) {
        const double d = std::abs(peaks[p].bin - track.bin);
        // One that is surely too far is not continued with, whether it is the nearest or not.
        const double doubt = peaks[p].binDoubt + kBinRounding;
        if (matched[p] || d >= 1.0 + doubt) {
            continue;
        }
        const double margin =
            nearest < 0 ? 0.0 : doubt + peaks[static_cast<std::size_t>(nearest)].binDoubt;
        if (Decide(distance - d, margin)) {
            nearest = static_cast<int>(p);
            distance = d;
        }
    }
    return nearest;
}

// True if the track goes on with the peak; alive is cleared if its level rises too much.
bool ReferencePartials::Continue(Track& track, const Peak& peak, bool& alive) {
    const double distance = std::abs(peak.bin - track.bin);
    if (!Decide(1.0 - distance, peak.binDoubt + kBinRounding)) {
        return false;
    }
    const double gain = 20.0 * std::log(peak.magnitude / track.magnitude);
    const double gainDoubt = 20.0 * (peak.logDoubt + kRounding) + kRounding * std::abs(gain);
    if (Decide(gain - track.limit, gainDoubt + track.limitDoubt)) {
        alive = false;
        return false;
    }
    const double level = peak.logBelow;
    track.limit = std::max(1.5 * gain, level - (1.0 - std::exp(-0.05)) * (level - 1.5));
    track.limitDoubt = 1.5 * gainDoubt + kRounding * (1.0 + std::abs(level));
    track.missed = 0;
    return true;
}

bool ReferencePartials::StaysUnmatched(const Track& track) {
    const double present = mMagnitudes[static_cast<std::size_t>(track.record.mIndex)];
    const bool dropped = Decide(0.2 * track.magnitude - present,
                                mLevelDoubt + kRounding * (0.2 * track.magnitude + present));
    return track.missed <= 3 && !dropped;
}

bool ReferencePartials::Walk(Tracks tracks, const PartialRow& delivered, Tracks& result) {
    std::vector<Peak> peaks;
    for (const Candidate& candidate : mCandidates) {
        if (candidate.certain || Decide(0.0, 1.0)) {
            peaks.push_back(PeakAt(candidate.bin));
        }
    }
    std::vector<bool> matched(peaks.size());
    // The next record must be the given one; a way that leads elsewhere ends here.
    const auto place = [&](Track track, const auto& fits) {
        if (result.size() == delivered.size() || !fits(delivered[result.size()])) {
            return false;
        }
        track.record = delivered[result.size()];
        track.bin = static_cast<double>(track.record.mFrequency) * 1024.0 / mRateHz;
        track.magnitude = static_cast<double>(track.record.mMagnitude);
        result.push_back(track);
        return true;
    };
    for (Track& track : tracks) {
        const int nearest = Nearest(track, peaks, matched);
        bool alive = true;
        if (nearest >= 0 && Continue(track, peaks[static_cast<std::size_t>(nearest)], alive)) {
            const auto p = static_cast<std::size_t>(nearest);
            matched[p] = true;
            if (!place(track, [&](const PartialRecord& r) { return Fits(peaks[p], r); })) {
                return false;
            }
        } else if (alive && StaysUnmatched(track)) {
            ++track.missed;
            PartialRecord expected = track.record;
            expected.mTime = static_cast<double>(mFrame);
            if (!place(track, [&](const PartialRecord& r) { return SameBytes(expected, r); })) {
                return false;
            }
        }
    }
    for (std::size_t p = 0; p < peaks.size(); ++p) {
        // Required by the contract: a linear magnitude is compared with a logarithm.
        if (!matched[p] && peaks[p].magnitude > mThreshold) {
            const Track born{0.0, 0.0, 20.0, 0.0, 0, {}};
            if (!place(born, [&](const PartialRecord& r) { return Fits(peaks[p], r); })) {
                return false;
            }
        }
    }
    return result.size() == delivered.size();
}

double ReferenceInharmonicity(const PartialRow& row) {
    double sum = 0.0;
    double weighted = 0.0;
    for (const PartialRecord& record : row) {
        const double ratio =
            static_cast<double>(record.mFrequency) / static_cast<double>(row[0].mFrequency);
        const double magnitude = static_cast<double>(record.mMagnitude);
        sum += magnitude;
        weighted += magnitude * 4.0 * std::abs(ratio - std::round(ratio));
    }
    return sum > 0.0 ? weighted / sum : 0.0;
}

void ExpectReferencePartials(const std::vector<float>& samples, double rateHz,
                             const PartialResults& results, double closeShare) {
    const std::size_t frames = PartialFramesIn(samples.size());
    ASSERT_EQ(frames, results.partials.size());
    ASSERT_EQ(frames, results.fundamentalsHz.size());
    ASSERT_EQ(frames, results.inharmonicities.size());
    ReferencePartials reference(rateHz);
    for (std::size_t n = 0; n < frames; ++n) {
        const PartialRow& row = results.partials[n];
        const std::span<const float> content(samples.data() + n * kPartialsHop, kPartialsFrame);
        ASSERT_TRUE(reference.Follow(content, row)) << "frame " << n;
        EXPECT_EQ(row.empty() ? 0.0f : row[0].mFrequency, results.fundamentalsHz[n]);
        // A quotient of at most 1022 is rounded, and its distance to a harmonic taken four times.
        EXPECT_NEAR(ReferenceInharmonicity(row), results.inharmonicities[n], 2.5e-4)
            << "frame " << n;
    }
    // Otherwise the comparison would mean little.
    EXPECT_LE(reference.CloseFrames(), closeShare * static_cast<double>(frames) + 1.0);
    EXPECT_LE(reference.LooseValues(), reference.Values() / 1000);
}

} // namespace qel::test
