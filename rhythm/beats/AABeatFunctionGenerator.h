#pragma once

#include "engine/base/EventList.h"
#include "engine/base/QelAAAnalysisGenerator.h"
#include "rhythm/beats/MeterAudio.h"
#include "support/audio/FrameStore.h"

#include <CoreAudio/CoreAudioTypes.h>

#include <memory>
#include <span>
#include <vector>

namespace qel::core {

class AAMelFrequencySpectralProcessor;

// Slot 5: tempo, beats, meter and down beats of a whole stream.
//
// While audio streams, each mel spectrum becomes one value of a detection function, kept in a
// store; where the meter needs it, the audio becomes a signal of 100 values per second. All else
// happens in ProcessFinal: two tempi from the function's autocorrelation, beats by dynamic
// programming, meter from the audio's correlation with itself, down beats from both. A stream may
// go through several segments: after a ProcessFinal that succeeded, storing begins anew, and times
// carry on.
//
// Store and signal hold the whole run, whatever length was declared.
//
// Sources: life and streaming in AABeatFunctionGenerator.cpp; tempo in AABeatFunctionTempo.cpp;
// beats in AABeatFunctionBeats.cpp; meter and down beats in AABeatFunctionMeter.cpp; sizes,
// parameters and dictionaries in AABeatFunctionRepresentation.cpp.
class AABeatFunctionGenerator : public QelAAAnalysisGenerator {
public:
    // A key: an entry of mComputeFlags.
    enum Flag : UInt32 {
        kGlobalTempo,
        kBeatData,
        kBeatsPerBar,
        kDownBeatData,
        kNumFlags,
    };

    // Function frames of one section: about 9.7 minutes at 44.1 kHz.
    static constexpr UInt32 kSectionFrames = 200000;
    static constexpr SInt32 kNoTempo = -1;
    static constexpr SInt32 kNoMeter = -3;

    AABeatFunctionGenerator(UInt32 channels, Float64 sampleRate, UInt32 frameSize, UInt32 hop,
                            UInt32 maxFrames, UInt32 streamLength, DataCallback dataCallback,
                            void* refCon);
    ~AABeatFunctionGenerator() override;

    SInt32 PushAudio(AudioBufferList* list, UInt32 frames) override;
    SInt32 SetComputeProperty(CFArrayRef keys) override;
    SInt32 ReadyAnalysis() override;
    UInt32 GetSizeOfAnalysisDataForKey(CFStringRef key) override;
    SInt32 GetParameterList(CFMutableArrayRef* list) override;
    SInt32 GetParameterValueInfo(CFStringRef name, void* outData) override;
    // The values of a parameter, as they are kept; zeros for a name of another generator.
    static QelAudioAnalysisParameterValueInfo ParameterValueInfo(CFStringRef name);
    CFPropertyListRef CreateCFRepresentation(CFAllocatorRef allocator, CFStringRef key,
                                             UInt32 count,
                                             const QelAudioAnalysisBlock* blocks) override;
    SInt32 GetParameter(CFStringRef name, float* outValue) override;
    SInt32 SetParameter(CFStringRef name, float value) override;

    // 0; kAudioAnalysisErr_NotEnoughData without flush, while the stream is not complete and has
    // less than one section; -1 where there is no tempo, for a stop in its estimation, and for one
    // at the end; -3 where there is no meter; -128 for a stop in the meter stage. After a failure
    // the stored stream stays for another call.
    SInt32 ProcessFinal(UInt8 flush) override;

    // The range of tempi: 0 for 20 to 110 BPM around 60, 1 for 50 to 220 BPM around 120.
    // Required by the contract: any other value is kept without changing the range. Clients read it
    // back.
    void SetGenreHint(UInt32 hint);

protected:
    void NullPointers() override;
    void Cleanup() override;
    void AllocateBuffers() override;

private:
    friend class AABeatFunctionGeneratorTestAccess;
    friend void BeatSpectralFun(SpectralAndAudioBufferList* list, void* refCon);

    // One section of one channel's function, and its progress.
    struct Section {
        float* data;
        UInt32 length;
        UInt32 index;
    };

    // The tempi of a channel, in BPM, and the first one's share of both scores.
    struct TempoEstimates {
        float tempo1;
        float tempo2;
        float confidence;
    };

    static Flag FlagOf(CFStringRef key);
    bool NeedsAudio() const { return IsWanted(kBeatsPerBar) || IsWanted(kDownBeatData); }
    float FrameRate() const; // of the function, Hz, in single precision

    void ComputeAndStoreProperies(const SpectralAndAudioBufferList* list);
    static void WarmUpRise();
    void MakeFunction(const SpectralAndAudioBufferList* list);
    float RemoveDC(UInt32 channel, float function);

    SInt32 FindTempoAndBeats();
    SInt32 FindTempoEstimates(TempoEstimates& estimates, const Section& section, bool retry);
    SInt32 FindBeats(const TempoEstimates& estimates, const Section& section, Events& beats);
    std::vector<float> Smoothed(const Section& section, float period) const;
    SInt32 TrackBackLinks(const Section& section, const std::vector<float>& local, float period,
                          std::vector<SInt32>& backLinks) const;
    SInt32 FindBeatsPerBar();
    SInt32 FindMeters(const std::vector<std::vector<float>>& signals);
    SInt32 FindDownBeats();

    void DeliverTempi();
    // Sorts each channel's events by time and hands them out.
    void DeliverEvents(CFStringRef key, const std::vector<Events>& events);

    using QelAAAnalysisBase::StopsAt;
    // The same for a fraction of the estimation (half 0) or the tracking (half 1) of a section.
    bool StopsAt(UInt32 sectionIndex, UInt32 half, float fraction) const;

    static constexpr UInt32 kNumMelBands = 40;
    // Of the function of a stream of unknown length, over all channels: six minutes of one at
    // 44.1 kHz, half a megabyte. To get memory takes several times as long as a push.
    static constexpr UInt64 kUsualFrames = UInt64{1} << 17;

    std::unique_ptr<MeterAudio> mMeterAudio;  // exists where the meter is needed
    CAAutoDelete<CABufferList> mPreviousList; // preceding levels of the bands, decibels
    CAAutoDelete<CABufferList> mFunctionList; // one float, like the next three
    CAAutoDelete<CABufferList> mPrevFunctionList;
    CAAutoDelete<CABufferList> mFiltFunctionList;
    CAAutoDelete<CABufferList> mPrevFiltFunctionList;
    CAAutoDelete<FrameStore> mFunctionStore; // the detection function
    CAAutoDelete<CABufferList> mFunctionFetchList;
    AudioTimeStamp mFunctionTime{}; // frames stored in mFunctionStore
    AudioTimeStamp mSegmentTime{};  // function frames of earlier segments
    float mTempoCentre = 120.0f;    // BPM
    float mMinTempo = 50.0f;
    float mMaxTempo = 220.0f;
    UInt32 mGenreHint = 1;
    float mSectionProgress = 100.0f; // percent of a section
    float mHalfSectionProgress = 50.0f;
    UInt32 mTempoPasses = 0; // estimations made for the current section

    // What ProcessFinal found, by channel; as long as the generator lives, since it may run without
    // buffers. Beats stand in the order in which they were found: newest first within a section.
    std::vector<TempoEstimates> mTempoList;
    std::vector<Events> mBeatList;
    std::vector<UInt32> mMeterList;
    std::vector<Events> mDownBeatList;
};

// The spectral callback; `refCon` is the generator.
void BeatSpectralFun(SpectralAndAudioBufferList* list, void* refCon);

// Windows of the analysis, filled in single precision; see the sources for what they are.
void MakeCenteredWindow1(float* window, float frameRate, float centreTempo, unsigned int n);
void MakeCenteredWindow2(float* window, float start, float step, float scale, unsigned int n);
void MakeSkewWindow1(float* window, float start, float step, float scale, unsigned int n);

} // namespace qel::core
