#pragma once

#include "bindings/python/src/Collector.h"
#include "bindings/python/src/SignalWatch.h"

#include <QelAudioAnalysis/BlockAnalyzer.hpp>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace qel::python {

// What a stream is analyzed for, and how.
struct StreamPlan {
    std::vector<std::string> keys; // of the table
    BlockAnalyzer::Parameters parameters;
    StreamSetup setup;    // maxFrames is the size of the blocks
    bool isMixed = false; // the analyzed stream is the mean of its channels
};

// The analysis of one stream: cuts what comes into blocks of one size, mixes it if that is asked
// for, and keeps the results. Knows nothing of Python but its signals.
//
// Throws qel::Error and Refusal, and what a signal's handler has raised.
class StreamEngine {
public:
    explicit StreamEngine(const StreamPlan& plan);
    StreamEngine(const StreamEngine&) = delete;
    StreamEngine& operator=(const StreamEngine&) = delete;

    // `count` samples, one pointer per channel. A signal ends the push between two blocks; the rest
    // of the samples is then not analyzed.
    void Push(std::span<const float* const> channels, std::size_t count, SignalWatch& watch);

    // Analyzes what is left of the last block, and ends the stream. The status of
    // BlockAnalyzer::finish.
    SInt32 Finish(const Progress& progress);

    void Reset();

    Collector& Results() noexcept { return mCollector; }
    BlockAnalyzer& Analyzer() noexcept { return mAnalyzer; }
    // Samples per channel that were analyzed. Those of a block that is not yet full come on top in
    // Pushed.
    std::uint64_t Analyzed() const noexcept { return mAnalyzed; }
    std::uint64_t Pushed() const noexcept { return mAnalyzed + mPending; }

private:
    void PushBlock(std::span<const float* const> channels, std::size_t count,
                   const BeforePush& before);
    void PushPending(const BeforePush& before);
    std::size_t Fill(std::span<const float* const> channels, std::size_t at, std::size_t count);
    void RequireWhole() const;

    StreamPlan mPlan;
    BlockAnalyzer mAnalyzer;
    Collector mCollector;
    std::vector<std::vector<float>> mBlock; // one that is not yet full
    // Other threads may ask for them.
    std::atomic<std::size_t> mPending = 0; // samples in it
    std::atomic<std::uint64_t> mAnalyzed = 0;
    bool mIsCut = false; // the analysis of a block was ended amid it
};

} // namespace qel::python
