// What the tests of "gamma tome spectrum" and "tempo" share: keys, clicks, and how results are held
// to the reference.
#pragma once

#include "tests/harness/TestAnalyzer.h"
#include "tests/harness/TestSignals.h"
#include "tests/rhythm/tempomap/ReferenceTempoMap.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace qel::test {

inline const std::string kGammaKey = "gamma tome spectrum";
inline const std::string kRunningTempoKey = "tempo";

inline constexpr double kAccentTestRate = 44100.0;
inline constexpr float kLowestBPM = 20.0f;
inline constexpr float kHighestBPM = 280.0f;

// Samples from one accent value to the next.
inline constexpr std::size_t kAccentSamples = kAccentHopSize / 2;

inline SInt32 SetTempoParameter(TestAnalyzer& analyzer, const std::string& name, float value) {
    return QelAudioAnalysisSetParameter(analyzer.Handle(), MakeString(name).Get(), value);
}

inline std::optional<float> TempoParameter(TestAnalyzer& analyzer, const std::string& name) {
    float value = 0.0f;
    if (QelAudioAnalysisGetParameter(analyzer.Handle(), MakeString(name).Get(), &value) != 0) {
        return std::nullopt;
    }
    return value;
}

// The tempi of a channel, in the order of delivery.
inline std::vector<float> Tempi(const TestAnalyzer& analyzer, std::size_t channel = 0) {
    std::vector<float> tempi;
    for (const std::vector<float>& row : analyzer.Rows(kRunningTempoKey, channel)) {
        EXPECT_EQ(1u, row.size());
        tempi.push_back(row.at(0));
    }
    return tempi;
}

inline std::vector<Delivery> Deliver(const std::vector<std::string>& keys, const Audio& audio,
                                     double rateHz = kAccentTestRate, UInt32 blockFrames = 4096) {
    TestAnalyzer analyzer(keys, {rateHz, static_cast<UInt32>(audio.size()), 4096, 0});
    analyzer.PushInBlocks(audio, blockFrames);
    EXPECT_EQ(0, analyzer.Process());
    return analyzer.Deliveries();
}

inline std::vector<float> TempiOf(const Audio& audio) {
    TestAnalyzer analyzer({kRunningTempoKey},
                          {kAccentTestRate, static_cast<UInt32>(audio.size()), 4096, 0});
    analyzer.PushInBlocks(audio, 4096);
    return Tempi(analyzer);
}

// One channel of full-scale clicks at multiples of the period, from frame 0 on.
inline Audio Clicks(std::size_t periodSamples, std::size_t samples) {
    std::vector<Impulse> impulses;
    for (std::size_t at = 0; at < samples; at += periodSamples) {
        impulses.push_back({at, 1.0f});
    }
    return Impulses(samples, impulses);
}

inline std::size_t Seconds(double seconds, double rateHz = kAccentTestRate) {
    return static_cast<std::size_t>(seconds * rateHz);
}

// The accent value whose frame begins there.
inline std::size_t AccentAt(double seconds) {
    return Seconds(seconds) / kAccentSamples;
}

// Every tempo is one that the reference allows, and most steps allow one alone, so that this is a
// comparison. A hop too many or too few, or another peak, fails.
inline void ExpectTempi(const std::vector<TempoStep>& expected, const std::vector<float>& actual,
                        double leastShareOfSingleAnswers = 0.9) {
    ASSERT_EQ(expected.size(), actual.size());
    std::size_t single = 0;
    std::size_t failures = 0;
    for (std::size_t n = 0; n < actual.size(); ++n) {
        single += expected[n].possibleBPM.size() == 1 ? 1 : 0;
        if (!expected[n].possibleBPM.contains(actual[n]) && ++failures <= 5) {
            ADD_FAILURE() << "tempo " << n << ": " << actual[n] << ", not "
                          << testing::PrintToString(expected[n].possibleBPM);
        }
    }
    EXPECT_EQ(0u, failures);
    EXPECT_GE(static_cast<double>(single),
              leastShareOfSingleAnswers * static_cast<double>(actual.size()));
}

} // namespace qel::test
