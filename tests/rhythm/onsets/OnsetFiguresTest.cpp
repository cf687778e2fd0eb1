// What counts as an onset: clicks at known samples, and rendered notes.

#include "tests/harness/TestSignals.h"
#include "tests/rhythm/onsets/OnsetAssertions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;

// Samples from a click to its onset: three are the bank's delay, and then the curve must pass its
// own smoothed values, which a click with a bank's answer of 10 ms after it does within half a
// millisecond.
constexpr int kLeastDelay = 3;
constexpr int kGreatestDelay = 22;

// The ringing of the filters makes fainter onsets than this: after a click that is none itself,
// and in the digital silence a window after one that is.
constexpr double kRinging = 0.1;

std::vector<int> FramesOf(const OnsetResults& results, double faint = kRinging) {
    std::vector<int> frames;
    for (const Event& onset : WithoutFaint(results.onsets.at(0), faint)) {
        frames.push_back(static_cast<int>(std::lround(onset.timeSeconds * kRate)));
    }
    return frames;
}

std::vector<int> OnsetsOfClicks(std::size_t frames, const std::vector<Impulse>& clicks,
                                float sensitivity, double faint = kRinging) {
    const Audio audio = Impulses(frames, clicks);
    const OnsetResults results = AnalyzeOnsets(audio, kRate, 4096, sensitivity);
    ExpectReferenceOnsets(audio, kRate, {.sensitivity = sensitivity}, results);
    return FramesOf(results, faint);
}

void ExpectAtClicks(const std::vector<int>& clicks, const std::vector<int>& onsets) {
    ASSERT_EQ(clicks.size(), onsets.size());
    for (std::size_t i = 0; i < clicks.size(); ++i) {
        EXPECT_GE(onsets[i], clicks[i] + kLeastDelay) << i;
        EXPECT_LE(onsets[i], clicks[i] + kGreatestDelay) << i;
    }
}

TEST(OnsetFiguresTest, AClickIsOneOnsetOfStrengthOne) {
    for (const double rateHz : {44100.0, 48000.0, 96000.0}) {
        const Audio audio = Impulses(static_cast<std::size_t>(rateHz), {{20000, 0.5f}});
        const OnsetResults results = AnalyzeOnsets(audio, rateHz);
        ExpectReferenceOnsets(audio, rateHz, {}, results);
        const std::vector<Event> onsets = WithoutFaint(results.onsets.at(0), kRinging);
        ASSERT_EQ(1u, onsets.size());
        EXPECT_EQ(1.0f, onsets[0].strength);
        const double delay = onsets[0].timeSeconds * rateHz - 20000.0;
        EXPECT_GE(delay, kLeastDelay - 1e-6);
        EXPECT_LE(delay, 0.0005 * rateHz);
    }
}

// However weak it is: the median alone can refuse it.
TEST(OnsetFiguresTest, TheFirstOnsetNeedsOnlyTheMedian) {
    ExpectAtClicks({10000, 50000},
                   OnsetsOfClicks(66150, {{10000, 0.003f}, {50000, 0.9f}}, 80.0f, 1e-3));
}

TEST(OnsetFiguresTest, TimesAreExactToTheSample) {
    const std::vector<int> first = OnsetsOfClicks(40000, {{10000, 0.5f}}, 80.0f);
    ASSERT_EQ(1u, first.size());
    for (const int shift : {1, 2, 3, 1000, 4095, 4097}) {
        const auto at = static_cast<std::size_t>(10000 + shift);
        EXPECT_EQ(std::vector<int>{first[0] + shift}, OnsetsOfClicks(40000, {{at, 0.5f}}, 80.0f));
    }
}

// At a sensitivity of 100 the window is 2048 samples for any stream.
TEST(OnsetFiguresTest, StrongDoubleHitsStandWithin1024Samples) {
    for (const std::size_t frames : {30000u, 200000u}) {
        const auto onsets = [&](std::size_t distance, float height) {
            return OnsetsOfClicks(frames, {{10000, 0.4f}, {10000 + distance, height}}, 100.0f);
        };
        ExpectAtClicks({10000, 10600}, onsets(600, 0.8f));
        ExpectAtClicks({10000, 11000}, onsets(1000, 0.8f));
        ExpectAtClicks({10000}, onsets(100, 0.8f));  // nearer than a quarter of the window
        ExpectAtClicks({10000}, onsets(600, 0.05f)); // weak
        // Required by the contract: farther off and still in the window, any is refused.
        ExpectAtClicks({10000}, onsets(1100, 0.8f));
        ExpectAtClicks({10000}, onsets(2000, 0.8f));
        ExpectAtClicks({10000, 12100}, onsets(2100, 0.8f));
        ExpectAtClicks({10000, 12100}, onsets(2100, 0.05f));
    }
}

// Of two clicks a good deal more than 1024 samples apart the second needs a whole window. The
// flush counts as part of the stream.
TEST(OnsetFiguresTest, TheWindowFollowsFromStreamAndSensitivity) {
    constexpr int kStream = 160000;
    const int sixteenth = (kStream + static_cast<int>(kFlushFrames)) / 16;
    const struct {
        float sensitivity;
        int window;
    } kCases[] = {{0.0f, 2048 + sixteenth},
                  {50.0f, 2048 + sixteenth / 2},
                  {75.0f, 2048 + sixteenth / 4},
                  {100.0f, 2048},
                  {-100.0f, 2048 + 2 * sixteenth}};
    for (const auto& [sensitivity, window] : kCases) {
        // The onsets may move against each other by a few samples.
        for (const int margin : {-40, 40}) {
            const int second = 40000 + window + margin;
            const std::vector<int> clicks =
                margin < 0 ? std::vector<int>{40000} : std::vector<int>{40000, second};
            ExpectAtClicks(clicks,
                           OnsetsOfClicks(kStream,
                                          {{40000, 0.5f}, {static_cast<std::size_t>(second), 0.5f}},
                                          sensitivity));
        }
    }
}

TEST(OnsetFiguresTest, TheDefaultSensitivityIs80) {
    constexpr std::size_t kStream = 160000;
    const int window = 2048 + static_cast<int>(kStream + kFlushFrames) / 80;
    for (const int margin : {-40, 40}) {
        const auto second = static_cast<std::size_t>(40000 + window + margin);
        OnsetRun run({kRate, 1, 4096, 0});
        run.Push(Impulses(kStream, {{40000, 0.5f}, {second, 0.5f}}));
        EXPECT_EQ(margin < 0 ? 1u : 2u, FramesOf(run.Process()).size()) << margin;
    }
}

// Above 100 the window shrinks with the length of the stream, to nothing and below. Then every
// local maximum of the curve is an onset.
TEST(OnsetFiguresTest, FarAbove100EveryLocalMaximumIsAnOnset) {
    constexpr std::size_t kStream = 32768 - kFlushFrames;
    const Audio audio = Noise(0.5f, 1, kStream, 21);
    const auto curve = OnsetCurve(BandSum(audio, kRate, 4096, kFlushFrames)[0]);
    const std::vector<Peak> peaks = PeaksOf(curve);
    for (const float sensitivity : {200.0f, 250.0f, 1000.0f}) {
        EXPECT_LE(OnsetWindow(curve.size(), sensitivity), 0);
        const std::vector<int> onsets =
            FramesOf(AnalyzeOnsets(audio, kRate, 4096, sensitivity), kFaint);
        EXPECT_GT(onsets.size(), 3000u);
        std::size_t found = 0;
        for (const Peak& peak : peaks) {
            const bool isThere =
                std::binary_search(onsets.begin(), onsets.end(), static_cast<int>(peak.frame));
            EXPECT_TRUE(isThere || !peak.isSure) << peak.frame;
            found += isThere;
        }
        EXPECT_EQ(found, onsets.size()) << "an onset that is no local maximum";
    }
    EXPECT_EQ(1024, OnsetWindow(curve.size(), 150.0f));
    ExpectReferenceOnsets(audio, kRate, {.sensitivity = 150.0f},
                          AnalyzeOnsets(audio, kRate, 4096, 150.0f));
}

// Harmonic notes with an attack of 2 ms, 500 ms apart, levels spread over 20 dB. Each is released
// after 300 ms and has fallen silent when the next one starts. That matters: whatever still rings
// or hums within a quarter of the window before a start has a local maximum that takes its place.
struct RenderedNotes {
    std::vector<double> startSeconds;
    Audio audio;
};

RenderedNotes RenderNotes(double seconds, double decaySeconds, std::uint32_t seed) {
    constexpr double kApartSeconds = 0.5;
    constexpr double kAttackSeconds = 0.002;
    constexpr double kHeldSeconds = 0.3;
    constexpr double kReleaseSeconds = 0.02;
    std::mt19937 generator(seed);
    const auto uniform = [&] { return static_cast<double>(generator()) / 4294967296.0; };
    std::vector<float> samples(static_cast<std::size_t>(seconds * kRate));
    RenderedNotes notes;
    for (double start = 0.3; start + kApartSeconds < seconds; start += kApartSeconds) {
        notes.startSeconds.push_back(start);
        const double amplitude = 0.3 * std::pow(10.0, -uniform()); // 0 to -20 dB
        const double frequencyHz = 110.0 * std::pow(2.0, 3.0 * uniform());
        const auto first = static_cast<std::size_t>(std::ceil(start * kRate));
        const auto end = first + static_cast<std::size_t>(kApartSeconds * kRate);
        for (std::size_t i = first; i < end; ++i) {
            const double t = static_cast<double>(i) / kRate - start;
            const double held = std::min(t, kHeldSeconds);
            const double envelope = amplitude * std::min(1.0, t / kAttackSeconds) *
                                    std::exp(-held / decaySeconds - (t - held) / kReleaseSeconds);
            double wave = 0.0;
            for (int harmonic = 1; harmonic <= 8; ++harmonic) {
                wave += std::sin(2.0 * std::numbers::pi * harmonic * frequencyHz * t) / harmonic;
            }
            samples[i] = static_cast<float>(envelope * wave);
        }
    }
    notes.audio.push_back(std::move(samples));
    return notes;
}

TEST(OnsetFiguresTest, NearlyAllNotesHaveAnOnsetWithin15MillisecondsOfTheirStart) {
    // Up to 36 seconds, a window is shorter than the distance of the notes.
    const struct {
        double seconds;
        double decaySeconds;
    } kCases[] = {{15.0, 0.05}, {20.0, 0.15}, {30.0, 0.08}};
    std::uint32_t seed = 50;
    for (const auto& [seconds, decaySeconds] : kCases) {
        const RenderedNotes notes = RenderNotes(seconds, decaySeconds, ++seed);
        const OnsetResults results = AnalyzeOnsets(notes.audio, kRate);
        std::size_t found = 0;
        for (const double start : notes.startSeconds) {
            found += std::any_of(
                results.onsets.at(0).begin(), results.onsets[0].end(), [&](const Event& onset) {
                    return onset.timeSeconds >= start && onset.timeSeconds <= start + 0.015;
                });
        }
        ASSERT_GT(notes.startSeconds.size(), 25u);
        EXPECT_GE(static_cast<double>(found), 0.95 * static_cast<double>(notes.startSeconds.size()))
            << "decay " << decaySeconds;
    }
}

} // namespace
} // namespace qel::test
