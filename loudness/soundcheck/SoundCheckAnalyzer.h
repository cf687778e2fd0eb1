#pragma once

#include "loudness/soundcheck/NormalizationData.h"

#include <CoreAudio/CoreAudioTypes.h>

namespace qel::core {

// Walks a run of float frames at a fixed step of 32768 frames and hands the first 1024 of each step
// to the normalization engine: 3 percent of a mono track, 0.74 seconds apart at 44100 Hz. That is
// what makes the measurement fast.
//
// Life: Start; Process any number of times; Finish; GetData, which holds until the next Start or
// the end of the analyzer. One thread at a time.
class SoundCheckAnalyzer {
public:
    static constexpr UInt32 kFramesPerStep = 32768;

    SoundCheckAnalyzer() = default;
    SoundCheckAnalyzer(const SoundCheckAnalyzer&) = delete;
    SoundCheckAnalyzer& operator=(const SoundCheckAnalyzer&) = delete;
    virtual ~SoundCheckAnalyzer();

    // The version of the figures.
    static UInt32 Version() { return 0; }

    // The engine's record, which stays the analyzer's; null until a Start succeeded. Its loudness
    // is worked out by Finish, all else runs along.
    NormalizationData* GetData() const { return mNormalizationData; }

    // Starts a track of native 32-bit floats, interleaved, with one or two channels. A sample rate
    // that is no whole number is cut to one for the bands, and stopped at the ends of 32 bits. The
    // layout is not used.
    //
    // Returns 0; -50 for null or another format, with nothing stored; -108.
    OSStatus Start(const AudioStreamBasicDescription* format, const AudioChannelLayout* layout);

    // Takes `frames` frames, a multiple of 32768, at the address of a float.
    //
    // Required by the contract: the excerpts' places count floats, not frames. In one call over
    // several steps of stereo they lie 16384 frames apart and in the first half of the run, while
    // their times go on by 32768 frames. Counting frames changes all stereo values.
    //
    // Returns 0; -50 for another number of frames, with nothing changed, and for frames without a
    // Start or without samples.
    OSStatus Process(UInt32 frames, const float* samples);

    // The same for a list of one buffer; -50 also for any other list, and for null.
    OSStatus Process(UInt32 frames, const AudioBufferList* bufferList);

    // Works out the loudness of what has come so far. Always 0; without a Start nothing happens.
    OSStatus Finish();

protected:
    NormalizationData* mNormalizationData = nullptr; // owned
    AudioStreamBasicDescription mFormat{};
    double mMillisecondsPerFrame = 0.0;
    SInt64 mFramesProcessed = 0;
};

} // namespace qel::core
