#pragma once

#include "engine/base/QelAAAnalysisBase.h"
#include "loudness/range/AAHeadroom.h"
#include "loudness/range/AAHistogram.h"
#include "loudness/range/AAT2F.h"
#include "loudness/range/AATDPreprocess.h"

#include <vector>

namespace qel::core {

// Slot 13: the range of amplitudes and frequencies that a whole recording takes up. For each
// channel it finds how much headroom the signal leaves below full scale, at which level a steady
// noise floor lies, and at which frequency the spectrum is cut off.
//
// It frames the pushed audio by itself, 1024 samples every 512, with silence before the first push,
// and reports once, in ProcessFinal. The last 512 samples form no further frame.
class AARangeMeter : public QelAAAnalysisBase {
public:
    static constexpr SInt32 kBadFrameCount = -1;

    // Everything is allocated here. Raises std::bad_alloc.
    AARangeMeter(UInt32 channels, Float64 sampleRate, UInt32 maxFrames, UInt32 streamLength,
                 DataCallback dataCallback, void* refCon);
    ~AARangeMeter() override;

    // Takes multiples of 512 frames. -1 for any other number, and for 0, with nothing taken. So the
    // silence of a flush is dropped when the largest push is no multiple, and is a part of the
    // recording when it is one. -3873 for a null list. Allocates nothing.
    SInt32 PushAudio(AudioBufferList* list, UInt32 frames) override;

    // The reset.
    //
    // Required by the contract: the histograms of sample values keep their counts, while the number
    // of samples starts again, and the last 512 samples of the stream before are the first half of
    // the first frame of the next. A full reset changes the values of every stream after it.
    SInt32 ReadyAnalysis() override;

    // Delivers the figures of everything up to now, any number of times: one block for each
    // channel, each of which is the array of all channels' records.
    SInt32 ProcessFinal(UInt8 flush) override;

private:
    struct RangeResults {
        std::vector<float> headroom;
        std::vector<float> noiseFloor;
        std::vector<float> cutoff;
        SInt32 headroomValid = 0;
        SInt32 noiseFloorValid = 0;
        SInt32 cutoffValid = 0;
    };

    void MeasureFrame(UInt32 channel, const float* firstHalf, const float* secondHalf);
    void FindRange();
    void DeliverRange();

    RangeResults mRangeResults;
    UInt32 mFrameSize;
    AATDPreprocess mPreprocess;
    AAT2F mTransform;
    AAHistogram mHistogram;
    AAHeadroom mHeadroom;
    CAAutoDelete<CABufferList> mPreviousTail; // per channel the last half frame of the last push
    std::vector<QelAudioAnalysisRange> mRecords;
};

} // namespace qel::core
