/*
 * What an analyzer is told about its stream, and whom it calls.
 */
#pragma once

#include <QelAudioAnalysis/Result.hpp>

#include <cstdint>
#include <functional>

namespace qel {

/* The stream that is to be analyzed. */
struct StreamSetup {
    double sampleRateHz = 44100;    /* above 0 */
    std::uint32_t channels = 1;     /* 1 or more */
    std::uint32_t maxFrames = 4096; /* the largest push, in samples per channel; 1 or more */
    /* Expected length in samples per channel; 0: unknown. Keys that deliver frames at the end keep
       those of this length alone, the last ones of a longer stream: state it for them. */
    std::uint32_t lengthFrames = 0;
};

/* What the library says about a key of an analyzer. */
struct KeyMetaData {
    double sampleRateHz = 0;
    std::uint32_t frameSamples = 0; /* 0: the key keeps no frames */
    std::uint32_t hopSamples = 0;   /* 0: the key keeps no frames */
};

/* Receives results. May throw: see Analyzer. */
using ResultCallback = std::function<void(const Result&)>;

/* Receives percentages from 0 to 100; returns whether to go on. May throw. */
using Progress = std::function<bool(float percent)>;

} // namespace qel
