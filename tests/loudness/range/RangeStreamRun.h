// "audio range" through the exported functions: what a stream delivers, decoded and kept.
#pragma once

#include "tests/harness/TestAnalyzer.h"
#include "tests/loudness/range/ReferenceRange.h"

#include <cstddef>
#include <vector>

namespace qel::test {

inline constexpr const char* kRangeKey = "audio range";

// Bytes of one channel's record.
inline constexpr std::size_t kRangeRecordBytes = 24;

struct RangeResults {
    SInt32 status = 0;
    int deliveries = 0;
    std::vector<QelAudioAnalysisRange> channels; // the records of the first block
    std::vector<std::byte> bytes;                // all of the first block
};

class RangeStreamRun {
public:
    explicit RangeStreamRun(const StreamSetup& setup);

    // Every push must be taken. The length must be whole blocks.
    void Push(const Audio& audio, UInt32 blockFrames = 4096);
    SInt32 PushOnce(const Audio& audio, std::size_t first, UInt32 frames);
    void Reset();
    // Without a flush, unless asked for, since a flush pushes silence.
    RangeResults Process(UInt8 flush = 0);

    TestAnalyzer& Analyzer() { return mAnalyzer; }

private:
    TestAnalyzer mAnalyzer;
    RangeResults mCurrent;
};

// The whole of the audio up to its last whole half frame, pushed in blocks, without a flush.
RangeResults AnalyzeRange(const Audio& audio, double rateHz, UInt32 blockFrames = 4096);

// The figures of one channel lie where the reference lets them.
void ExpectReferenceRange(const ReferenceRange& reference, const RangeResults& results);

} // namespace qel::test
