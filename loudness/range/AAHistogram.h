#pragma once

#include <MacTypes.h>

#include <vector>

namespace qel::core {

// Keeps, for each channel and frequency bin, a histogram of levels over a whole recording, and
// derives from it a typical spectrum, a cut-off frequency and a noise floor. One thread at a time.
class AAHistogram {
public:
    // Levels are counted in `histogramBins` bins, at most 2^24, of equal width: the edges between
    // them run from `minValue` to `maxValue`, so that the two outermost have all that lies beyond.
    // `channels` and `frequencyBins` may be 0. Ends with Initialize, whose status is dropped:
    // whoever may have given wrong bounds calls it again. Raises std::bad_alloc.
    AAHistogram(UInt32 channels, UInt32 frequencyBins, SInt32 histogramBins, float minValue,
                float maxValue);

    // Empties everything. 0; or -1, with nothing changed, if `minValue` is not below `maxValue` or
    // there are fewer than 3 bins: such an object counts nothing and finds nothing.
    SInt32 Initialize();

    // Counts `count` values of one frequency bin. NaN counts in histogram bin 0, as minus infinity
    // does. Allocates nothing.
    void Update(UInt32 channel, UInt32 frequencyBin, const float* values, UInt32 count);

    // The same for one value of every frequency bin, and faster.
    void UpdateSpectrum(UInt32 channel, const float* values);

    void IncrementNonZeroBlockCount(UInt32 channel);
    SInt32 GetNnonzeroBlocks(UInt32 channel) const;

    // The figures of the first `channels` channels; each array has room for as many. `frameSize` is
    // that of the transform in samples, `sampleRate` is in Hz.
    //
    // A cut-off is a steep fall in the upper half of the spectrum, in Hz; -1 where there is none.
    // The noise floor is the level at the spectrum's top end, in dB; 0 and not found where the
    // spectrum lies more than 6 dB below it anywhere from bin 5 up. Nothing is found for a channel
    // without non-zero blocks.
    void EstimateSpectralRange(UInt32 frameSize, UInt32 channels, float sampleRate,
                               bool* cutoffFound, float* cutoff, bool* noiseFloorFound,
                               float* noiseFloor);

    // How often a level was counted.
    double Count(UInt32 channel, UInt32 frequencyBin, UInt32 histogramBin) const;

    // What the last EstimateSpectralRange passed through: indices of histogram bins, levels in dB,
    // and dB per Hz, with one element per frequency bin.
    const std::vector<SInt32>& MedianIndex(UInt32 channel) const;
    const std::vector<float>& MedianSpectrum(UInt32 channel) const;
    const std::vector<float>& SmoothedSpectrum(UInt32 channel) const;
    const std::vector<float>& Slope(UInt32 channel) const;

private:
    struct Channel {
        std::vector<double> counts; // frequency bins have a row each
        std::vector<SInt32> medianIndex;
        std::vector<SInt32> lowIndex;
        std::vector<SInt32> highIndex;
        std::vector<float> medianSpectrum;
        std::vector<float> smoothedSpectrum;
        std::vector<float> slope;
        SInt32 nonZeroBlocks = 0;
    };

    static void Clear(Channel& channel);

    void GetMeanAndPercentile(Channel& channel, UInt32 frequencyBin) const;
    void MedianFilter(Channel& channel) const;
    void SmoothFilter(Channel& channel) const;
    void GetDbPerHertz(Channel& channel, UInt32 frameSize, float sampleRate) const;
    bool FindMinDbPerHertzAtCutoff(const Channel& channel, UInt32& position) const;
    bool FindNoiseFloor(const Channel& channel, float& noiseFloor) const;

    UInt32 mFrequencyBins;
    SInt32 mHistogramBins;
    float mMinValue;
    float mMaxValue;
    bool mIsReady = false;
    UInt32 mLevels = 0; // mHistogramBins, 0 for a negative number
    float mBinWidth = 0.0f;
    std::vector<float> mBinEdges;
    std::vector<Channel> mChannels;
    std::vector<UInt32> mIndices;
};

} // namespace qel::core
