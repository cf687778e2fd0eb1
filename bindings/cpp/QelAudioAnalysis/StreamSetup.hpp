// The setup of a stream, and the callbacks of an analyzer.
#pragma once

#include <QelAudioAnalysis/Result.hpp>

#include <cstdint>
#include <functional>

namespace qel {

// The stream to be analyzed.
struct StreamSetup {
    double sampleRateHz = 44100;    // above 0
    std::uint32_t channels = 1;     // 1 or more
    std::uint32_t maxFrames = 4096; // the largest push, in samples per channel; 1 or more
    // Expected length in samples per channel; 0: unknown. Set it for keys that deliver frames at
    // the end: they keep the frames of this length only, the last ones of a longer stream.
    std::uint32_t lengthFrames = 0;
};

// What the library states about a key of an analyzer.
struct KeyMetaData {
    double sampleRateHz = 0;
    std::uint32_t frameSamples = 0; // 0: the key has no frames
    std::uint32_t hopSamples = 0;   // 0: the key has no frames
};

// Receives results. May throw: see Analyzer.
using ResultCallback = std::function<void(const Result&)>;

// Receives percentages from 0 to 100; returns whether to continue. May throw.
using Progress = std::function<bool(float percent)>;

} // namespace qel
