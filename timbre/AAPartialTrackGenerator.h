#pragma once

#include "engine/base/QelAAAnalysisGenerator.h"
#include "timbre/PartialTracker.h"

#include <CoreAudio/CoreAudioTypes.h>

#include <vector>

namespace qel::core {

class CACFDictionary;

// Slot 9: the sinusoidal tracks of each frame, with a fundamental frequency and an inharmonicity.
//
// Per frame and channel the peaks of the log magnitudes, down to a five-hundredth of the greatest
// magnitude, go to the channel's PartialTracker. The tracking runs whichever keys are wanted.
// Tracks that live at the end of the stream are dropped without a last report.
class AAPartialTrackGenerator : public QelAAAnalysisGenerator {
public:
    // A key: an entry of mComputeFlags.
    enum Flag : UInt32 {
        kPartials,
        kFundamentalFrequency,
        kInharmonicity,
        kNumFlags,
    };

    using QelAAAnalysisGenerator::QelAAAnalysisGenerator;
    ~AAPartialTrackGenerator() override;

    SInt32 SetComputeProperty(CFArrayRef keys) override;
    UInt32 GetSizeOfAnalysisDataForKey(CFStringRef key) override;

    // A dictionary with `key` as its only key, or with none for a key of another object. For the
    // keys of floats the usual shape. "partials": an array by channel of arrays by frame of
    // dictionaries with five numbers, empty without a record. Required by the contract: they are
    // those of the last record of the list of that channel and frame. A dictionary for each record
    // gives clients another shape. Block c is read as an
    // array of PartialList by frame, as far as its mDataByteSize goes; lists beyond that are empty.
    CFPropertyListRef CreateCFRepresentation(CFAllocatorRef allocator, CFStringRef key,
                                             UInt32 count,
                                             const QelAudioAnalysisBlock* blocks) override;

protected:
    void NullPointers() override;
    void Cleanup() override;
    void AllocateBuffers() override;

    // False, and nothing in the library sets it. With it, from the next AllocateBuffers on, peaks
    // have the instantaneous frequency and the phase of the bin below their maximum.
    bool mUseInstantaneousFrequency = false;

private:
    friend void MyPartialSpectralFun(SpectralAndAudioBufferList* list, void* refCon);

    static Flag FlagOf(CFStringRef key);

    void GetSpectrumMagnitude();
    void TrackPartials();
    void TrackChannel(UInt32 channel);
    void EraseVectors();
    const float* FrequenciesOf(UInt32 channel);
    float FundamentalOf(UInt32 channel) const;
    float InharmonicityOf(UInt32 channel);
    void DeliverPartials();
    void DeliverFundamentals();
    void DeliverInharmonicities();
    void AddPartials(CACFDictionary& result, UInt32 count,
                     const QelAudioAnalysisBlock* blocks) const;

    CAAutoFree<float> mMinMagnitudes;            // of the frame, by channel
    CAAutoFree<float> mMaxMagnitudes;            // likewise
    CAAutoDelete<CABufferList> mMagnitudeBuffer; // mNumBins floats, and room for a vector
    CAAutoFree<float> mLogMagnitudes;            // likewise: those of the channel in work
    CAAutoFree<float> mFrequencies;              // Hz: those of the channel in work
    AudioTimeStamp mFrameTime{};                 // frames since the last reset

    // By channel, with room for the most that a frame can have.
    std::vector<PartialTracker> mTrackers;
    std::vector<std::vector<PartialRecord>> mRecords;
};

// The spectral callback; `refCon` is the generator.
void MyPartialSpectralFun(SpectralAndAudioBufferList* list, void* refCon);

} // namespace qel::core
