#include "tests/timbre/PartialsRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

namespace qel::test {
namespace {

PartialRow Records(const QelAudioAnalysisBlock& block) {
    PartialList list{};
    EXPECT_EQ(16u, block.mDataByteSize);
    if (block.mDataByteSize == sizeof list) {
        std::memcpy(&list, block.mData, sizeof list);
    }
    PartialRow row;
    for (UInt32 i = 0; i < list.mCount; ++i) {
        row.push_back(list.mPartials[i]);
    }
    return row;
}

float Value(const QelAudioAnalysisBlock& block) {
    float value = 0.0f;
    EXPECT_EQ(4u, block.mDataByteSize);
    std::memcpy(&value, block.mData, sizeof value);
    return value;
}

bool SameFloats(const std::vector<float>& a, const std::vector<float>& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](float x, float y) {
        return std::bit_cast<std::uint32_t>(x) == std::bit_cast<std::uint32_t>(y);
    });
}

} // namespace

std::size_t PartialResults::Greatest() const {
    std::size_t greatest = 0;
    for (const PartialRow& row : partials) {
        greatest = std::max(greatest, row.size());
    }
    return greatest;
}

PartialsRun::PartialsRun(const StreamSetup& setup, const std::vector<std::string>& keys)
    : mAnalyzer(keys, setup), mChannels(setup.channels) {
    mAnalyzer.onDelivery = [this](QelAudioAnalysisRef, CFStringRef name, UInt32 count,
                                  QelAudioAnalysisBlock* blocks) {
        Take(ToText(name), count, blocks);
    };
}

void PartialsRun::Take(const std::string& key, UInt32 count, const QelAudioAnalysisBlock* blocks) {
    mOrder.push_back(key);
    ASSERT_EQ(mChannels.size(), count);
    for (std::size_t c = 0; c < mChannels.size(); ++c) {
        if (key == kPartialsKey) {
            mChannels[c].partials.push_back(Records(blocks[c]));
        } else if (key == kFundamentalKey) {
            mChannels[c].fundamentalsHz.push_back(Value(blocks[c]));
        } else {
            EXPECT_EQ(kInharmonicityKey, key);
            mChannels[c].inharmonicities.push_back(Value(blocks[c]));
        }
    }
}

void PartialsRun::Forget() {
    mChannels.assign(mChannels.size(), {});
    mOrder.clear();
}

std::vector<PartialResults> AnalyzePartials(const Audio& audio, double rateHz, UInt32 blockFrames) {
    PartialsRun run({rateHz, static_cast<UInt32>(audio.size()), 4096, 0});
    run.Analyzer().PushInBlocks(audio, blockFrames);
    EXPECT_EQ(0, run.Analyzer().Process());
    return run.Channels();
}

bool SameBytes(const PartialRecord& a, const PartialRecord& b) {
    return a.mIndex == b.mIndex &&
           SameFloats({a.mFrequency, a.mMagnitude, a.mPhase},
                      {b.mFrequency, b.mMagnitude, b.mPhase}) &&
           std::bit_cast<std::uint64_t>(a.mTime) == std::bit_cast<std::uint64_t>(b.mTime);
}

bool SameResults(const std::vector<PartialResults>& a, const std::vector<PartialResults>& b) {
    const auto sameRow = [](const PartialRow& x, const PartialRow& y) {
        return std::equal(x.begin(), x.end(), y.begin(), y.end(), SameBytes);
    };
    const auto sameChannel = [&](const PartialResults& x, const PartialResults& y) {
        return std::equal(x.partials.begin(), x.partials.end(), y.partials.begin(),
                          y.partials.end(), sameRow) &&
               SameFloats(x.fundamentalsHz, y.fundamentalsHz) &&
               SameFloats(x.inharmonicities, y.inharmonicities);
    };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), sameChannel);
}

} // namespace qel::test
