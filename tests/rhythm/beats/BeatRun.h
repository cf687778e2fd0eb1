// The beat keys through the exported functions: what a stream delivers, decoded and kept.
#pragma once

#include "tests/harness/TestAnalyzer.h"

#include <array>
#include <string>
#include <vector>

namespace qel::test {

inline const std::string kTempoKey = "global tempo";
inline const std::string kBeatKey = "beat data";
inline const std::string kMeterKey = "global number of beats per bar";
inline const std::string kDownBeatKey = "down beat data";
inline const std::vector<std::string> kAllBeatKeys = {kTempoKey, kBeatKey, kMeterKey, kDownBeatKey};

struct Event {
    double timeSeconds;
    float strength;
};

// What one Process delivered, each by channel. Bytes, so that results can be compared bit for bit,
// values that are no numbers included.
struct BeatResults {
    SInt32 status = 0;
    std::vector<std::string> order;          // of the keys
    std::vector<std::array<float, 3>> tempi; // tempo 1, tempo 2, confidence
    std::vector<std::vector<Event>> beats;
    std::vector<UInt32> meters;
    std::vector<std::vector<Event>> downBeats;
    std::vector<float> progress; // every value reported

    // Status and all results, in order, without the progress.
    std::vector<std::byte> Bytes() const;
};

class BeatRun {
public:
    BeatRun(const std::vector<std::string>& keys, const StreamSetup& setup);

    void Push(const Audio& audio, UInt32 blockFrames = 4096);

    // No progress callback.
    BeatResults Process(UInt8 flush = 1);
    // With one, which asks to stop at the report of the given index, counted from 0, and at that
    // one alone; never if it is negative.
    BeatResults ProcessWithProgress(int stopAt = -1, UInt8 flush = 1);

    TestAnalyzer& Analyzer() { return mAnalyzer; }
    SInt32 SetGenreHint(float value);
    float GenreHint();

private:
    static int Report(void* unused, float percent, void* refCon);
    BeatResults Take(SInt32 status);

    TestAnalyzer mAnalyzer;
    BeatResults mCurrent;
    int mStopAt = -1;
};

// A whole stream with its length declared, pushed in blocks, flushed.
BeatResults Analyze(const Audio& audio, double rateHz,
                    const std::vector<std::string>& keys = kAllBeatKeys, float genreHint = 1.0f);

// Drums at a steady tempo over a quiet floor of noise, from 0.2 s on. Every `meter`th stroke is
// louder and has a bass under it, and the loudest of all is the `loudest`th stroke.
struct Drums {
    double bpm = 120.0;
    int meter = 4;
    double seconds = 12.0;
    int loudest = 8;
    double floor = 1e-4;
};
inline constexpr double kFirstStrokeSeconds = 0.2;
std::vector<float> DrumTrack(double rateHz, const Drums& drums);

} // namespace qel::test
