#pragma once

#include <QelAudioAnalysis/BlockAnalyzer.hpp>

#include <cstddef>
#include <span>
#include <vector>

namespace qel::tool {

// The analysis of one stream, pushed block by block, which a signal can end.
class StreamAnalysis {
public:
    // As BlockAnalyzer. Throws Error, or Interrupt::Requested. A signal that comes meanwhile ends
    // the program, as tables for high sample rates can take seconds to make.
    StreamAnalysis(const std::vector<const KeyInfo*>& keys,
                   const BlockAnalyzer::Parameters& parameters, const StreamSetup& setup);

    void OnResult(const ResultCallback& callback);

    // Analyzes the next block. Throws Error or Interrupt::Requested.
    void Push(std::span<const float* const> channels, std::size_t count);

    // Ends the stream. Audio may well be without a tempo or a meter: that is told by the returned
    // status, and is no reason to drop what else was found. Throws Error.
    SInt32 Finish(const Progress& progress);

    // Starts a new stream with the same keys, parameters and setup. Throws Error.
    void Reset();

    KeyMetaData MetaData(const KeyInfo& info) const;

private:
    BlockAnalyzer mAnalyzer;
};

} // namespace qel::tool
