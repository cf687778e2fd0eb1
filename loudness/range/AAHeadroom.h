#pragma once

#include <MacTypes.h>

#include <vector>

namespace qel::core {

// How far the loud tails of a signal stay below full scale: a histogram of sample values for each
// channel. One thread at a time.
class AAHeadroom {
public:
    // `histogramBins` is 3 to 2^24. `minValue` and `maxValue` are truncated to integers, which must
    // fit 32 bits. Ends with Initialize. Raises std::bad_alloc.
    AAHeadroom(UInt32 channels, UInt32 histogramBins, float minValue, float maxValue);

    // Starts the count of samples again, 0.
    //
    // Required by the contract: the histograms keep what they have counted, and only a new object
    // is empty. Clearing them changes the headroom of every stream after a reset.
    SInt32 Initialize();

    // Counts `count` samples of a channel. Values beyond the range count in the outermost bins,
    // NaN in the lowest. Samples of channel 0 alone add to the count of samples. Allocates nothing.
    void Update(UInt32 channel, const float* samples, UInt32 count);

    // Samples of channel 0 since the last Initialize.
    long GetNSamplesPerChannel() const { return static_cast<long>(mSampleCount); }

    // Takes bins away from both ends of the histogram in step until together they held 0.025% of
    // `sampleCount`. One minus the magnitude of the edge that is reached is `headroom`, a linear
    // fraction of full scale. `found` becomes true. Both have room for `channels`, which is at
    // most that of the object.
    //
    // Required by the contract: the edge is the one on the negative side, even when the positive
    // side is louder. The louder edge changes the values of asymmetric audio.
    void FindHeadRoom(long sampleCount, UInt32 channels, bool* found, float* headroom) const;

    // How often a bin of a channel was counted.
    double Count(UInt32 channel, UInt32 bin) const;

private:
    // Successive samples often share a bin, and an increment must wait for the one before it of
    // the same place. So four of them in turn have a table each.
    static constexpr UInt32 kTables = 4;
    static constexpr UInt32 kStretch = 512; // samples whose bins are found at once

    UInt32 mHistogramBins;
    SInt32 mMinValue;
    SInt32 mMaxValue;
    float mBinWidth = 0.0f;
    std::vector<float> mBinEdges;
    std::vector<std::vector<double>> mCounts; // of a channel: kTables tables
    std::vector<UInt32> mIndices;
    double mSampleCount = 0.0;
};

} // namespace qel::core
