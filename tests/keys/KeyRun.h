// One key of the table through the exported functions. What its blocks point at is copied, so that
// whole results can be compared to the bit.
#pragma once

#include "tests/harness/TestAnalyzer.h"

#include <QelAudioAnalysis/Keys.hpp>

#include <cstddef>
#include <string>
#include <vector>

namespace qel::test {

// What one call of the data callback brought.
struct KeyResult {
    UInt32 blocks = 0;
    std::vector<UInt32> blockBytes;               // as stated, of every block
    std::vector<std::vector<std::byte>> channels; // contents; of FramesAtEnd: all frames

    bool operator==(const KeyResult&) const = default;

    std::vector<float> Floats(std::size_t channel) const;
    std::string Name(std::size_t channel) const;
    std::vector<QelAudioAnalysisEvent> Events(std::size_t channel) const;
    std::vector<PartialRecord> Partials(std::size_t channel) const;
    QelAudioAnalysisRange Range(std::size_t channel) const;

    // The same without the other channels.
    KeyResult OnlyChannel(std::size_t channel) const;
};

using KeyResults = std::vector<KeyResult>;

// Each result without the other channels, as a stream of one channel would have it.
KeyResults OnlyChannel(const KeyResults& results, std::size_t channel);

// A stream's whole outcome.
struct KeyOutcome {
    KeyResults results;
    SInt32 status = 0; // of Process

    bool operator==(const KeyOutcome&) const = default;
};

class KeyRun {
public:
    // Asks for the key and its companion, or for a list that has both.
    KeyRun(const KeyInfo& key, const StreamSetup& setup);
    KeyRun(const KeyInfo& key, const StreamSetup& setup, const std::vector<std::string>& keys);

    // Every push must be taken.
    void Push(const Audio& audio, UInt32 blockFrames = 4096);
    // So many frames from there on; the status.
    SInt32 PushPart(const Audio& audio, std::size_t firstFrame, UInt32 frames);
    SInt32 Process(UInt8 flush = 1) { return mAnalyzer.Process(flush); }
    void Reset();
    // Another stream in its place.
    void Initialize(const StreamSetup& setup);

    const KeyResults& Results() const { return mResults; }
    void Forget() { mResults.clear(); }
    // Ends the stream, and forgets what it brought.
    KeyOutcome Finish();

private:
    void Take(CFStringRef key, UInt32 count, const QelAudioAnalysisBlock* blocks);

    KeyInfo mKey;
    UInt32 mChannels;
    TestAnalyzer mAnalyzer;
    KeyResults mResults;
};

// A whole stream with its length declared, pushed in blocks and ended.
KeyOutcome AnalyzeKey(const KeyInfo& key, const Audio& audio, double rateHz = 44100.0,
                      UInt32 blockFrames = 4096);

} // namespace qel::test
