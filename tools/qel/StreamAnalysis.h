#pragma once

#include <QelAudioAnalysis/Analyzer.hpp>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace qel::tool {

// The analysis of one stream, pushed block by block, of which only the keys that are delivered per
// push depend on the size of the blocks.
//
// A flush is as much silence as the largest push, which moves the results at the end of some keys.
// The largest push is the same for all sizes of blocks, therefore, and longer blocks are pushed
// piece by piece. Keys that are delivered per push need such a block as a whole: they get an
// analyzer of their own then.
class StreamAnalysis {
public:
    // The largest push for all keys but those that are delivered per push.
    static constexpr std::uint32_t kMostPushSamples = 4096;

    // setup.maxFrames is the size of the blocks. Parameters have their values from the first sample
    // on. Throws Error, or Interrupt::Requested. A signal that comes meanwhile ends the program, as
    // tables for high sample rates can take seconds to make.
    StreamAnalysis(const std::vector<const KeyInfo*>& keys,
                   const std::vector<std::pair<std::string, float>>& parameters,
                   const StreamSetup& setup);

    void OnResult(const ResultCallback& callback);

    // Analyzes the next block. A rest of it that some keys do not take (KeyInfo::pushMultiple)
    // comes in a push of its own, which is for the other keys. Throws Error or
    // Interrupt::Requested.
    void Push(std::span<const float* const> channels, std::size_t count);

    // Ends the stream. Audio may well be without a tempo or a meter: that is told by the returned
    // status, and is no reason to drop what else was found. Throws Error.
    SInt32 Finish(const Progress& progress);

    KeyMetaData MetaData(const KeyInfo& info) const;

private:
    void Add(const std::vector<const KeyInfo*>& keys, const StreamSetup& setup);
    void Push(Analyzer& analyzer, std::span<const float* const> channels, std::size_t begin,
              std::size_t end);

    std::deque<Analyzer> mAnalyzers; // of all keys, or of those per push and of the others
    std::vector<const float*> mPieces;
    std::uint32_t mMultiple = 1;
};

} // namespace qel::tool
