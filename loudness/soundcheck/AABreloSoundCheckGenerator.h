#pragma once

#include "engine/base/QelAAAnalysisBase.h"
#include "loudness/soundcheck/BufferedSoundCheckAnalyzer.h"

namespace qel::core {

// What "sound check" delivers for one channel.
struct SoundCheckBlock {
    UInt32 version;
    UInt32 averageLoudness;
    UInt32 maxLoudness;
    UInt32 unused1;          // 0
    Float64 maxLoudnessTime; // ms
    UInt32 peakLevel;        // on the scale of 16-bit samples
    UInt32 unused2;          // 0
    Float64 peakTime;        // ms
};

// Slot 12: a loudness figure for volume normalization, over a sound-check analyzer.
//
// Required by the contract: the analyzer is handed a description of audio that is not interleaved,
// with the sample rate where the number of channels belongs. It refuses that: every reset prints
// so, every push and the end return the refusal's status, -50, and no block is delivered. With a
// right description clients receive results of a key that has none.
//
// With an analyzer that works, a block per channel goes out after each push and at the end. The
// loudness is 0 until then.
class AABreloSoundCheckGenerator : public QelAAAnalysisBase {
public:
    using QelAAAnalysisBase::QelAAAnalysisBase;
    ~AABreloSoundCheckGenerator() override;

    // 0; -50 for the analyzer's refusal, also of an empty push; the analyzer's status.
    SInt32 PushAudio(AudioBufferList* list, UInt32 frames) override;

    // The size of a block for "sound check".
    UInt32 GetSizeOfAnalysisDataForKey(CFStringRef key) override;

    // { key: [] }: the figures travel through the data callback alone.
    CFPropertyListRef CreateCFRepresentation(CFAllocatorRef allocator, CFStringRef key,
                                             UInt32 count,
                                             const QelAudioAnalysisBlock* blocks) override;

    // The status of the analyzer's start, else that of the base class, which reports to the
    // progress callback in either case.
    SInt32 ProcessFinal(UInt8 flush) override;

protected:
    void NullPointers() override;
    void Cleanup() override;
    void AllocateBuffers() override;

    // Delivers the figures as they are; nothing without an engine.
    void GetDataFromSoundCheck();

    CAAutoDelete<BufferedSoundCheckAnalyzer> mAnalyzer;
};

} // namespace qel::core
