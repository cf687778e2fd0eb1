#pragma once

#include "engine/base/QelAAAnalysisBase.h"
#include "rhythm/onsets/GammatoneBank.h"
#include "rhythm/onsets/OnsetCurveBuilder.h"
#include "support/audio/CABufferList.h"

#include <CoreAudio/CoreAudioTypes.h>

#include <deque>
#include <vector>

namespace qel::core {

// Slot 6: the onsets of a whole stream, exact to one sample.
//
// While audio streams, each channel runs through a gammatone bank of 33 bands, 235 to 14439 Hz, and
// the sum of the bands becomes a detection curve at the full sample rate: the sum's falls, smoothed
// backward in time so that their ringing stands in front of an event. See OnsetCurveBuilder for how
// that goes before the stream's end is known. In ProcessFinal, the curve's peaks are held to a
// running median and to each other, in a window that grows with the stream.
//
// A short push in which a store gets memory from the system leaves its samples to the next one:
// filtering them takes no longer than that does.
//
// The whole run is kept, whatever length was declared, about 1.3 bytes per sample of music, and
// ProcessFinal does not drop it: what is pushed after it continues the same stream, and the next
// call looks at all of it.
class AAOnsetGenerator : public QelAAAnalysisBase {
public:
    using QelAAAnalysisBase::QelAAAnalysisBase;
    ~AAOnsetGenerator() override;

    // Required by the contract: the filters are shared by all channels. Each sees one block of the
    // first channel, then one of the second, its state running straight on, so that results of a
    // stream with several channels depend on how it was cut into pushes, and on the channels
    // before. Filters for each channel change all values of such streams.
    SInt32 PushAudio(AudioBufferList* list, UInt32 frames) override;

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

    // 0; -128 for a stop, with nothing delivered unless it was the last report but one, which comes
    // after the delivery; -1 for one at the last report.
    SInt32 ProcessFinal(UInt8 flush) override;

    // Samples of the window in which onsets compete, in a stream of `frames` frames: 2048 and a
    // share of a sixteenth of the stream, none at the sensitivity 100 and all at 0. Beyond that
    // range the share goes on, so that the window may be 0 or less; it stops at the ends of an int.
    // With a sensitivity that is not a number it is 2048.
    static int WindowFor(UInt32 frames, float sensitivity);

protected:
    void NullPointers() override;
    void Cleanup() override;
    void AllocateBuffers() override;

private:
    using Onsets = std::vector<QelAudioAnalysisEvent>;

    UInt64 FramesToReserve() const;
    void MakeBank();
    void RemoveBank();
    bool PrepareAhead();
    bool Postpone(const AudioBufferList& list, UInt32 channels, UInt32 frames);
    void Filter(const AudioBufferList& list, UInt32 channels, UInt32 frames, bool goesOn);
    void FilterChannel(OnsetCurveBuilder& curve, const float* input, float* sums, UInt32 frames,
                       bool goesOn);
    void WarmUp(OnsetCurveBuilder& curve);
    bool FilterPostponed();
    SInt32 FindOnsets(UInt32 channel, Onsets& onsets);

    Gfb_Analyzer mFilterBank{};
    bool mFilterBankReady = false;
    CAAutoDelete<CABufferList> mGammaList; // per channel the sum over the bands of one push
    std::deque<OnsetCurveBuilder> mCurves; // per channel; none after a reset that failed
    AudioTimeStamp mGammaTime{};           // frames that the curves have
    CAAutoDelete<CABufferList> mPostponed; // a short push
    UInt32 mPostponedChannels = 0;
    UInt32 mPostponedFrames = 0; // 0 while none waits
    float mSensitivity = 80.0f;  // percent
};

} // namespace qel::core
