// Onsets through the exported functions: what a stream delivers, decoded and kept.
#pragma once

#include "tests/harness/TestAnalyzer.h"
#include "tests/rhythm/beats/BeatRun.h"

#include <string>
#include <vector>

namespace qel::test {

inline const std::string kOnsetKey = "onset data";

// What one Process delivered.
struct OnsetResults {
    SInt32 status = 0;
    int deliveries = 0;
    std::vector<std::vector<Event>> onsets; // by channel
    std::vector<float> progress;            // every value reported

    // Status and lists, without the progress, to be compared bit for bit.
    std::vector<std::byte> Bytes() const;
};

class OnsetRun {
public:
    explicit OnsetRun(const StreamSetup& setup);

    void Push(const Audio& audio, UInt32 blockFrames = 4096);

    // No progress callback.
    OnsetResults Process(UInt8 flush = 1);
    // With one, which asks to stop at the report of the given index, counted from 0, and at that
    // one alone; never if it is negative.
    OnsetResults ProcessWithProgress(int stopAt = -1, UInt8 flush = 1);

    TestAnalyzer& Analyzer() { return mAnalyzer; }
    SInt32 SetSensitivity(float value);
    float Sensitivity();

private:
    static int Report(void* unused, float percent, void* refCon);
    OnsetResults Take(SInt32 status);

    TestAnalyzer mAnalyzer;
    OnsetResults mCurrent;
    int mStopAt = -1;
};

// A whole stream with its length declared, pushed in blocks, flushed. A push may hold 4096 frames.
OnsetResults AnalyzeOnsets(const Audio& audio, double rateHz, UInt32 blockFrames = 4096,
                           float sensitivity = 80.0f);

// The flush of such a stream: one push of silence.
inline constexpr std::size_t kFlushFrames = 4096;

} // namespace qel::test
