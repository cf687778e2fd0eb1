// The steps from the histograms to a cut-off frequency and a noise floor.

#include "elementary/Functions.h"
#include "loudness/range/AAHistogram.h"

#include <algorithm>
#include <array>
#include <numbers>
#include <numeric>

namespace qel::core {

namespace {

constexpr double kLowShare = 0.075;
constexpr double kHighShare = 0.925;
constexpr double kMedianShare = 0.5;

constexpr UInt32 kMedianLength = 25;
constexpr UInt32 kKernelLength = 35;

constexpr float kLeastFall = -0.005f; // dB per Hz
constexpr float kBorneOut = 0.8f;     // of the steepest fall must be there in the mean around it
constexpr UInt32 kSlopesAround = 5;   // on either side
constexpr UInt32 kFirstBelowTop = 5;  // the search starts this many bins below the number of bins

constexpr UInt32 kFloorBins = 10;
constexpr UInt32 kFirstHeldToFloor = 5;
constexpr float kFloorTolerance = 6.0f; // dB

constexpr float kNoCutoff = -1.0f;

// A half wave of a sine.
std::array<float, kKernelLength> MakeKernel() {
    std::array<float, kKernelLength> kernel{};
    for (UInt32 j = 0; j < kKernelLength; ++j) {
        kernel[j] =
            static_cast<float>(elementary::Sin((0.5 + j) * std::numbers::pi / kKernelLength));
    }
    return kernel;
}

// The element that an ascending order has at length / 2.
SInt32 GetMedian(const SInt32* values, UInt32 length) {
    std::array<SInt32, kMedianLength> sorted{};
    std::copy_n(values, length, sorted.begin());
    const auto middle = sorted.begin() + length / 2;
    std::nth_element(sorted.begin(), middle, sorted.begin() + length);
    return *middle;
}

} // namespace

void AAHistogram::EstimateSpectralRange(UInt32 frameSize, UInt32 channels, float sampleRate,
                                        bool* cutoffFound, float* cutoff, bool* noiseFloorFound,
                                        float* noiseFloor) {
    const UInt32 bins = std::min(frameSize / 2 + 1, mFrequencyBins);
    for (UInt32 c = 0; c < channels; ++c) {
        cutoffFound[c] = false;
        cutoff[c] = kNoCutoff;
        noiseFloorFound[c] = false;
        noiseFloor[c] = 0.0f;
        if (!mIsReady || mFrequencyBins == 0) {
            continue;
        }
        Channel& channel = mChannels[c];
        for (UInt32 k = 0; k < bins; ++k) {
            GetMeanAndPercentile(channel, k);
        }
        MedianFilter(channel);
        SmoothFilter(channel);
        GetDbPerHertz(channel, frameSize, sampleRate);

        UInt32 position = 0;
        cutoffFound[c] = FindMinDbPerHertzAtCutoff(channel, position);
        if (cutoffFound[c]) {
            cutoff[c] = static_cast<float>(position) * sampleRate / static_cast<float>(frameSize);
        }
        noiseFloorFound[c] = FindNoiseFloor(channel, noiseFloor[c]);
        if (channel.nonZeroBlocks == 0) {
            cutoffFound[c] = noiseFloorFound[c] = false;
        }
    }
}

// The percentiles of one frequency bin; no mean is formed. The topmost histogram bin takes no part:
// a level at or above the top is out of the measurement.
//
// Required by the contract: a histogram bin belongs to the running sum that it is compared with, so
// that each index is that of the last bin before the sum reaches its share, one below the bin that
// holds the percentile. The bin itself changes all values.
void AAHistogram::GetMeanAndPercentile(Channel& channel, UInt32 frequencyBin) const {
    const double* const counts = channel.counts.data() + std::size_t{frequencyBin} * mLevels;
    const UInt32 levels = mLevels - 1;
    const double total = std::accumulate(counts, counts + levels, 0.0);

    SInt32 low = 0;
    SInt32 median = 0;
    SInt32 high = 0;
    double sum = 0.0;
    for (UInt32 i = 0; i < levels; ++i) {
        sum += counts[i];
        const auto index = static_cast<SInt32>(i);
        if (kLowShare * total > sum) {
            low = index;
        }
        if (kMedianShare * total > sum) {
            median = index;
        }
        if (kHighShare * total > sum) {
            high = index;
        }
    }
    channel.lowIndex[frequencyBin] = low;
    channel.medianIndex[frequencyBin] = median;
    channel.highIndex[frequencyBin] = high;
}

// The medians become levels, half a histogram bin below the edge of the same index. At the low end
// the stretch under the median keeps its length, so that it stands off the middle; at the top it
// becomes shorter.
void AAHistogram::MedianFilter(Channel& channel) const {
    const float halfWidth = mBinWidth / 2.0f;
    const auto lastFrequencyBin = static_cast<SInt32>(mFrequencyBins) - 1;
    for (UInt32 i = 0; i < mFrequencyBins; ++i) {
        const UInt32 start = std::max(i, kMedianLength / 2) - kMedianLength / 2;
        const UInt32 length = std::min(mFrequencyBins - start, kMedianLength);
        const SInt32 median = GetMedian(channel.medianIndex.data() + start, length);
        // Required by the contract: a histogram index is compared with the number of frequency
        // bins. It can get there only where those are fewer than the histogram bins, and there the
        // number of histogram bins changes values. Below the lowest edge is none.
        channel.medianSpectrum[i] = median >= lastFrequencyBin && median > 0
                                        ? mBinEdges[static_cast<UInt32>(median - 1)] + halfWidth
                                        : mBinEdges[static_cast<UInt32>(median)] - halfWidth;
    }
}

// The kernel stays in place over bin i. Where it hangs over an end of the spectrum, both sums have
// only the products that there are.
void AAHistogram::SmoothFilter(Channel& channel) const {
    static const std::array<float, kKernelLength> kernel = MakeKernel();
    constexpr UInt32 kMiddle = kKernelLength / 2;
    for (UInt32 i = 0; i < mFrequencyBins; ++i) {
        const UInt32 start = std::max(i, kMiddle) - kMiddle;
        const UInt32 offset = start + kMiddle - i;
        const UInt32 length = std::min(mFrequencyBins - start, kKernelLength - offset);
        float sum = 0.0f;
        float weights = 0.0f;
        for (UInt32 j = 0; j < length; ++j) {
            sum += kernel[j + offset] * channel.medianSpectrum[j + start];
            weights += kernel[j + offset];
        }
        channel.smoothedSpectrum[i] = sum / weights;
    }
}

// The last element stays 0: nothing follows the last bin.
void AAHistogram::GetDbPerHertz(Channel& channel, UInt32 frameSize, float sampleRate) const {
    const float perHertz = static_cast<float>(frameSize) / sampleRate;
    const std::vector<float>& level = channel.smoothedSpectrum;
    for (UInt32 i = 0; i + 1 < mFrequencyBins; ++i) {
        channel.slope[i] = (level[i + 1] - level[i]) * perHertz;
    }
}

// The first local minimum below the top that is steep enough and borne out around it. Whatever
// ends the run of falling slopes ends the search, so that there may be a steeper one further down.
bool AAHistogram::FindMinDbPerHertzAtCutoff(const Channel& channel, UInt32& position) const {
    const std::vector<float>& slope = channel.slope;
    float best = kLeastFall;
    bool found = false;
    const UInt32 first = std::max(mFrequencyBins, kFirstBelowTop) - kFirstBelowTop;
    for (UInt32 i = first; i > mFrequencyBins / 2; --i) {
        if (slope[i] < best) {
            best = slope[i];
            position = i;
            found = true;
        } else if (found) {
            break;
        }
    }
    if (!found) {
        return false;
    }
    // The search's first bin has one neighbour too few, which counts as level ground.
    const UInt32 end = std::min(position + kSlopesAround + 1, mFrequencyBins);
    float sum = 0.0f;
    for (UInt32 i = position - kSlopesAround; i < end; ++i) {
        sum += slope[i];
    }
    const float average = sum / static_cast<float>(2 * kSlopesAround + 1);
    return average < kBorneOut * best;
}

bool AAHistogram::FindNoiseFloor(const Channel& channel, float& noiseFloor) const {
    const std::vector<float>& level = channel.smoothedSpectrum;
    const UInt32 count = std::min(mFrequencyBins, kFloorBins);
    const float sum = std::accumulate(level.end() - count, level.end(), 0.0f);
    noiseFloor = sum / static_cast<float>(count);
    for (UInt32 k = kFirstHeldToFloor; k < mFrequencyBins; ++k) {
        if (noiseFloor > level[k] + kFloorTolerance) {
            noiseFloor = 0.0f;
            return false;
        }
    }
    return true;
}

} // namespace qel::core
