#pragma once

#include "readings/stream/MonoBlocks.h"

#include <QelAudioAnalysis.hpp>

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace qel::readings {

// The results of some keys for a stream of one channel at a sample rate of its own.
class KeyStream {
public:
    using Take = std::function<void(const Result&)>;

    // `lengthFrames`: the expected length, 0 if unknown. Without keys nothing is analyzed.
    KeyStream(std::vector<std::string_view> keys, double sampleRateHz, std::uint64_t lengthFrames,
              Take take);

    double sampleRateHz() const { return mSampleRateHz; }
    double hopSeconds(std::string_view key) const;

    void add(std::span<const float> samples);
    // Ends the stream. Results of the frames that end after it are not given.
    void end();
    void reset();

private:
    const std::vector<std::string_view> mKeys;
    const double mSampleRateHz;
    const std::uint64_t mLengthFrames;
    const Take mTake;
    MonoBlocks mBlocks{1};
    std::optional<Analyzer> mAnalyzer;
    bool mEnds = false; // what comes now is silence after the stream
};

} // namespace qel::readings
