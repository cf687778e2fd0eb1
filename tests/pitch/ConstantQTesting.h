// What the tests of "constant q spectrum" and "harmonic pitch class profile" share.
#pragma once

#include "tests/harness/TestAnalyzer.h"
#include "tests/harness/TestSignals.h"
#include "tests/pitch/ReferenceConstantQ.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace qel::test {

inline const std::string kSpectrumKey = "constant q spectrum";
inline const std::string kProfileKey = "harmonic pitch class profile";
inline const std::vector<std::string> kConstantQKeys = {kSpectrumKey, kProfileKey};

inline constexpr std::size_t kConstantQFrame = 8192;
inline constexpr std::size_t kConstantQHop = 1024;
inline constexpr std::size_t kConstantQBins = 212;
inline constexpr std::size_t kProfileBins = 36;
inline constexpr double kConstantQRate = 44100.0;

// Frames that lie wholly within a stream.
inline std::size_t FramesIn(std::size_t samples) {
    return samples < kConstantQFrame ? 0 : (samples - kConstantQFrame) / kConstantQHop + 1;
}

// As many samples as so many frames need.
inline constexpr std::size_t SamplesFor(std::size_t frames) {
    return kConstantQFrame + (frames - 1) * kConstantQHop;
}

inline std::vector<Delivery> RunConstantQ(const Audio& audio, double rateHz = kConstantQRate,
                                          UInt32 blockFrames = 4096,
                                          const std::vector<std::string>& keys = kConstantQKeys) {
    TestAnalyzer analyzer(keys, {rateHz, static_cast<UInt32>(audio.size()), 4096, 0});
    analyzer.PushInBlocks(audio, blockFrames);
    EXPECT_EQ(0, analyzer.Process());
    return analyzer.Deliveries();
}

// One row of magnitudes per frame.
inline std::vector<std::vector<float>> SpectraOf(const Audio& audio, double rateHz = kConstantQRate,
                                                 UInt32 blockFrames = 4096,
                                                 std::size_t channel = 0) {
    std::vector<std::vector<float>> rows;
    for (const Delivery& delivery : RunConstantQ(audio, rateHz, blockFrames, {kSpectrumKey})) {
        rows.push_back(delivery.Floats(channel));
    }
    return rows;
}

inline std::size_t Loudest(const std::vector<float>& row) {
    return static_cast<std::size_t>(std::max_element(row.begin(), row.end()) - row.begin());
}

// Single precision strays with the loudest part of the frame, whatever bin that is in: 15 to 17
// steps of a transform, each rounded to 24 bits, give some 1e-6 of it. Kernel and frame both go
// through such a transform, and their product is summed up in an order of its own, which moves a
// magnitude by some 1e-6 of itself; the bound leaves room for another transform.
inline constexpr double kMagnitudeError = 2e-5;
inline constexpr double kShareOfLoudest = 2e-6;

// A kernel value on the wrong side of the threshold may change a bin by what it weighs; that must
// stay small, so that the comparison means something.
inline constexpr double kGreatestDoubt = 1e-3;

inline void ExpectMagnitudes(const std::vector<ReferenceConstantQ::Magnitude>& expected,
                             const std::vector<float>& actual,
                             std::size_t binCount = kConstantQBins) {
    ASSERT_EQ(binCount, actual.size());
    double loudest = 0.0;
    for (const auto& magnitude : expected) {
        loudest = std::max(loudest, magnitude.value);
    }
    for (const auto& [bin, value, doubt] : expected) {
        EXPECT_LE(doubt, kGreatestDoubt * loudest) << "bin " << bin;
        ASSERT_NEAR(value, actual[bin], kMagnitudeError * value + kShareOfLoudest * loudest + doubt)
            << "bin " << bin;
    }
}

// Every whole frame of a channel.
inline void ExpectSpectra(const ReferenceConstantQ& reference, const std::vector<float>& samples,
                          const std::vector<std::vector<float>>& actual) {
    ASSERT_EQ(FramesIn(samples.size()), actual.size());
    ASSERT_FALSE(actual.empty());
    for (std::size_t frame = 0; frame < actual.size(); ++frame) {
        SCOPED_TRACE("frame " + std::to_string(frame));
        const std::span<const float> content(samples.data() + frame * kConstantQHop,
                                             kConstantQFrame);
        ASSERT_NO_FATAL_FAILURE(ExpectMagnitudes(reference.Magnitudes(content), actual[frame]));
    }
}

} // namespace qel::test
