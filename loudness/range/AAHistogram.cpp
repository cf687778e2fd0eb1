#include "loudness/range/AAHistogram.h"

#include "loudness/range/HistogramIndices.h"

#include <algorithm>
#include <limits>

namespace qel::core {

namespace {

constexpr SInt32 kLeastHistogramBins = 3;
constexpr UInt32 kStretch = 512; // values whose bins are found at once

} // namespace

AAHistogram::AAHistogram(UInt32 channels, UInt32 frequencyBins, SInt32 histogramBins,
                         float minValue, float maxValue)
    : mFrequencyBins(frequencyBins), mHistogramBins(histogramBins), mMinValue(minValue),
      mMaxValue(maxValue), mLevels(static_cast<UInt32>(std::max(histogramBins, 0))),
      mBinEdges(mLevels > 0 ? mLevels - 1 : 0), mChannels(channels),
      mIndices(std::max(frequencyBins, kStretch)) {
    const std::size_t cells = std::size_t{frequencyBins} * mLevels;
    for (Channel& channel : mChannels) {
        channel.counts.resize(cells);
        channel.medianIndex.resize(frequencyBins);
        channel.lowIndex.resize(frequencyBins);
        channel.highIndex.resize(frequencyBins);
        channel.medianSpectrum.resize(frequencyBins);
        channel.smoothedSpectrum.resize(frequencyBins);
        channel.slope.resize(frequencyBins);
    }
    Initialize();
}

SInt32 AAHistogram::Initialize() {
    mIsReady = mMinValue < mMaxValue && mHistogramBins >= kLeastHistogramBins;
    if (!mIsReady) {
        return -1;
    }
    mBinWidth = (mMaxValue - mMinValue) / static_cast<float>(mHistogramBins - 2);
    for (std::size_t i = 0; i < mBinEdges.size(); ++i) {
        mBinEdges[i] = static_cast<float>(i) * mBinWidth + mMinValue;
    }
    for (Channel& channel : mChannels) {
        Clear(channel);
    }
    return 0;
}

void AAHistogram::Clear(Channel& channel) {
    std::fill(channel.counts.begin(), channel.counts.end(), 0.0);
    for (auto* indices : {&channel.medianIndex, &channel.lowIndex, &channel.highIndex}) {
        std::fill(indices->begin(), indices->end(), 0);
    }
    for (auto* levels : {&channel.medianSpectrum, &channel.smoothedSpectrum, &channel.slope}) {
        std::fill(levels->begin(), levels->end(), 0.0f);
    }
    channel.nonZeroBlocks = 0;
}

void AAHistogram::Update(UInt32 channelIndex, UInt32 frequencyBin, const float* values,
                         UInt32 count) {
    if (!mIsReady) {
        return;
    }
    double* const row = mChannels[channelIndex].counts.data() + std::size_t{frequencyBin} * mLevels;
    while (count > 0) {
        const UInt32 now = std::min(count, kStretch);
        IndicesByProduct(values, now, mBinEdges[0], 1.0f / mBinWidth, mLevels - 1, mIndices.data());
        for (UInt32 i = 0; i < now; ++i) {
            row[mIndices[i]] += 1.0;
        }
        values += now;
        count -= now;
    }
}

void AAHistogram::UpdateSpectrum(UInt32 channelIndex, const float* values) {
    if (!mIsReady) {
        return;
    }
    IndicesByProduct(values, mFrequencyBins, mBinEdges[0], 1.0f / mBinWidth, mLevels - 1,
                     mIndices.data());
    const UInt32* const indices = mIndices.data();
    double* row = mChannels[channelIndex].counts.data();
    for (UInt32 k = 0; k < mFrequencyBins; ++k, row += mLevels) {
        row[indices[k]] += 1.0;
    }
}

void AAHistogram::IncrementNonZeroBlockCount(UInt32 channel) {
    SInt32& blocks = mChannels[channel].nonZeroBlocks;
    if (blocks < std::numeric_limits<SInt32>::max()) {
        ++blocks;
    }
}

SInt32 AAHistogram::GetNnonzeroBlocks(UInt32 channel) const {
    return mChannels[channel].nonZeroBlocks;
}

double AAHistogram::Count(UInt32 channelIndex, UInt32 frequencyBin, UInt32 histogramBin) const {
    return mChannels[channelIndex].counts[std::size_t{frequencyBin} * mLevels + histogramBin];
}

const std::vector<SInt32>& AAHistogram::MedianIndex(UInt32 channel) const {
    return mChannels[channel].medianIndex;
}

const std::vector<float>& AAHistogram::MedianSpectrum(UInt32 channel) const {
    return mChannels[channel].medianSpectrum;
}

const std::vector<float>& AAHistogram::SmoothedSpectrum(UInt32 channel) const {
    return mChannels[channel].smoothedSpectrum;
}

const std::vector<float>& AAHistogram::Slope(UInt32 channel) const {
    return mChannels[channel].slope;
}

} // namespace qel::core
