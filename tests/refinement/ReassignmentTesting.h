// What the tests of "reasigned spectrum" share: one run through the exported functions.
#pragma once

#include "tests/harness/TestAnalyzer.h"
#include "tests/harness/TestSignals.h"
#include "tests/refinement/ReferenceReassignment.h"
#include "tests/timbre/TimbreTesting.h"

#include <gtest/gtest.h>

#include <complex>
#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace qel::test {

inline const std::string kReassigned = "reasigned spectrum";
inline constexpr std::size_t kHop = ReferenceReassignment::kHop;
inline constexpr std::size_t kBins = ReferenceReassignment::kBins;

// One delivery. Of a channel all frames, one after the other, each with its bins.
struct ReassignedResult {
    std::size_t frames = 0;
    std::vector<std::vector<std::complex<float>>> channels;

    std::complex<float> Cell(std::size_t row, std::size_t column, std::size_t channel = 0) const {
        return channels.at(channel).at(row * ReferenceReassignment::kBins + column);
    }
    std::span<const std::complex<float>> Row(std::size_t row, std::size_t channel = 0) const {
        return std::span(channels.at(channel))
            .subspan(row * ReferenceReassignment::kBins, ReferenceReassignment::kBins);
    }
    bool operator==(const ReassignedResult&) const = default;
};

// An analyzer for the one key that keeps its matrices. A block tells the size of one frame only, so
// they are copied within the callback.
class ReassignmentRun {
public:
    // Without a declared length, the number of samples of `audio` is declared.
    ReassignmentRun(const Audio& audio, const RateAndBlock& with = {44100.0, 4096},
                    SInt64 declaredSamples = -1, UInt32 maxFrames = 4096)
        : mAudio(audio), mWith(with),
          mAnalyzer({kReassigned}, {with.rateHz, static_cast<UInt32>(audio.size()), maxFrames,
                                    declaredSamples < 0 ? static_cast<SInt64>(audio.at(0).size())
                                                        : declaredSamples}) {
        mAnalyzer.onDelivery = [this](QelAudioAnalysisRef, CFStringRef key, UInt32 count,
                                      QelAudioAnalysisBlock* blocks) {
            Receive(ToText(key), count, blocks);
        };
    }

    void PushAll() { mAnalyzer.PushInBlocks(mAudio, mWith.blockFrames); }
    ReassignedResult Finish(UInt8 flush = 1) {
        mResults.clear();
        EXPECT_EQ(0, mAnalyzer.Process(flush));
        EXPECT_EQ(1u, mResults.size());
        return mResults.empty() ? ReassignedResult{} : mResults.front();
    }
    TestAnalyzer& Analyzer() { return mAnalyzer; }

private:
    void Receive(const std::string& key, UInt32 count, const QelAudioAnalysisBlock* blocks) {
        EXPECT_EQ(kReassigned, key);
        const std::size_t channels = mAudio.size();
        EXPECT_EQ(0u, count % channels);
        ReassignedResult result;
        result.frames = count / channels;
        result.channels.resize(channels);
        for (std::size_t c = 0; c < channels && result.frames > 0; ++c) {
            const QelAudioAnalysisBlock& block = blocks[c * result.frames];
            ASSERT_EQ(ReferenceReassignment::kBins * 8, block.mDataByteSize);
            ASSERT_NE(nullptr, block.mData);
            const auto* cells = static_cast<const std::complex<float>*>(block.mData);
            result.channels[c].assign(cells, cells + result.frames * ReferenceReassignment::kBins);
        }
        mResults.push_back(std::move(result));
    }

    Audio mAudio;
    RateAndBlock mWith;
    std::vector<ReassignedResult> mResults;
    TestAnalyzer mAnalyzer;
};

inline ReassignedResult Reassign(const Audio& audio, const RateAndBlock& with = {44100.0, 4096}) {
    ReassignmentRun run(audio, with);
    run.PushAll();
    return run.Finish();
}

inline double EnergyOf(std::span<const std::complex<float>> cells) {
    double energy = 0.0;
    for (const std::complex<float> cell : cells) {
        energy += std::norm(std::complex<double>(cell));
    }
    return energy;
}

} // namespace qel::test
