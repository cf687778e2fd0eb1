// What the tests of "mel frequency cepstral coefficients", "mel spectrum", "cepstrum", "phase
// properties" and "instantaneous frequency" share.
#pragma once

#include "tests/harness/TestAnalyzer.h"
#include "tests/harness/TestSignals.h"
#include "tests/timbre/ReferenceTimbre.h"

#include <gtest/gtest.h>

#include <cmath>
#include <ostream>
#include <string>
#include <vector>

namespace qel::test {

// A key, how its frames lie, and the numbers in each of its blocks.
struct FrameKey {
    std::string key;
    std::size_t frameSamples;
    std::size_t hopSamples;
    std::size_t numbers;

    std::size_t FramesIn(std::size_t samples) const {
        return samples < frameSamples ? 0 : (samples - frameSamples) / hopSamples + 1;
    }
    std::size_t SamplesFor(std::size_t frames) const {
        return frameSamples + (frames - 1) * hopSamples;
    }
};

inline std::ostream& operator<<(std::ostream& out, const FrameKey& key) {
    return out << key.key;
}

inline const FrameKey kMFCC = {"mel frequency cepstral coefficients", 4096, 2048, 13};
inline const FrameKey kMelSpectrum = {"mel spectrum", 4096, 2048, 2048};
inline const FrameKey kCepstrum = {"cepstrum", 512, 256, 128};
inline const FrameKey kPhaseProperties = {"phase properties", 1024, 512, 5};
inline const FrameKey kInstantaneousFrequency = {"instantaneous frequency", 1024, 512, 512};

inline const std::vector<FrameKey> kFrameKeys = {kMFCC, kMelSpectrum, kCepstrum, kPhaseProperties,
                                                 kInstantaneousFrequency};

struct RateAndBlock {
    double rateHz;
    UInt32 blockFrames;
};

inline std::ostream& operator<<(std::ostream& out, const RateAndBlock& with) {
    return out << with.rateHz << " Hz in pushes of " << with.blockFrames;
}

inline const std::vector<RateAndBlock> kRatesAndBlocks = {
    {44100.0, 63}, {48000.0, 1000}, {22050.0, 4096}};

inline std::vector<Delivery> RunKeys(const std::vector<std::string>& keys, const Audio& audio,
                                     const RateAndBlock& with = {44100.0, 4096}) {
    TestAnalyzer analyzer(keys, {with.rateHz, static_cast<UInt32>(audio.size()), 4096, 0});
    analyzer.PushInBlocks(audio, with.blockFrames);
    EXPECT_EQ(0, analyzer.Process());
    return analyzer.Deliveries();
}

// One row of numbers per frame of a channel.
inline std::vector<std::vector<float>> RowsOf(const FrameKey& key, const Audio& audio,
                                              const RateAndBlock& with = {44100.0, 4096},
                                              std::size_t channel = 0) {
    std::vector<std::vector<float>> rows;
    for (const Delivery& delivery : RunKeys({key.key}, audio, with)) {
        EXPECT_EQ(key.key, delivery.key);
        EXPECT_EQ(audio.size(), delivery.blocks.size());
        rows.push_back(delivery.Floats(channel));
        EXPECT_EQ(key.numbers, rows.back().size());
    }
    EXPECT_EQ(key.FramesIn(audio.at(0).size()), rows.size());
    return rows;
}

// Every number lies within its bound. What has an infinite bound is left out.
inline void ExpectWithin(const std::vector<Bounded>& expected, const std::vector<float>& actual) {
    ASSERT_EQ(expected.size(), actual.size());
    for (std::size_t i = 0; i < actual.size(); ++i) {
        if (std::isfinite(expected[i].error)) {
            ASSERT_NEAR(expected[i].value, actual[i], expected[i].error) << "number " << i;
        }
    }
}

// Of all numbers that were compared, the share whose bound is at most so large.
class BoundCount {
public:
    void Add(const Bounded& value, double greatest) {
        ++mAll;
        mTight += value.error <= greatest ? 1 : 0;
    }
    double Share() const { return static_cast<double>(mTight) / static_cast<double>(mAll); }

private:
    std::size_t mAll = 0;
    std::size_t mTight = 0;
};

} // namespace qel::test
