#include "loudness/AAHistogram.h"

#include <algorithm>
#include <limits>

#include "loudness/HistogramIndices.h"

namespace qel::core {

namespace {

constexpr SInt32 kLeastHistogramBins = 3;
constexpr UInt32 kMostRecentFrames = std::numeric_limits<UInt16>::max();
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
        channel.recent.resize(cells);
        channel.counts.alloc(cells, true);
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
    if (!mIsReady)
        return -1;
    mBinWidth = (mMaxValue - mMinValue) / static_cast<float>(mHistogramBins - 2);
    for (std::size_t i = 0; i < mBinEdges.size(); ++i)
        mBinEdges[i] = static_cast<float>(i) * mBinWidth + mMinValue;
    for (Channel& channel : mChannels)
        Clear(channel);
    return 0;
}

void AAHistogram::Clear(Channel& channel) const {
    if (channel.hasCounts)
        std::fill_n(channel.counts.get(), channel.recent.size(), 0.0);
    channel.hasCounts = false;
    std::fill(channel.recent.begin(), channel.recent.end(), UInt16{0});
    channel.recentFrames = 0;
    for (auto* indices : {&channel.medianIndex, &channel.lowIndex, &channel.highIndex})
        std::fill(indices->begin(), indices->end(), 0);
    for (auto* levels : {&channel.medianSpectrum, &channel.smoothedSpectrum, &channel.slope})
        std::fill(levels->begin(), levels->end(), 0.0f);
    channel.nonZeroBlocks = 0;
}

void AAHistogram::Update(UInt32 channelIndex, UInt32 frequencyBin, const float* values,
                         UInt32 count) {
    if (!mIsReady)
        return;
    Channel& channel = mChannels[channelIndex];
    channel.hasCounts = channel.hasCounts || count > 0;
    double* const row = channel.counts.get() + std::size_t{frequencyBin} * mLevels;
    while (count > 0) {
        const UInt32 now = std::min(count, kStretch);
        IndicesByProduct(values, now, mBinEdges[0], 1.0f / mBinWidth, mLevels - 1, mIndices.data());
        for (UInt32 i = 0; i < now; ++i)
            row[mIndices[i]] += 1.0;
        values += now;
        count -= now;
    }
}

void AAHistogram::UpdateSpectrum(UInt32 channelIndex, const float* values) {
    if (!mIsReady)
        return;
    Channel& channel = mChannels[channelIndex];
    if (channel.recentFrames == kMostRecentFrames)
        EmptyRecent(channel);
    ++channel.recentFrames;
    IndicesByProduct(values, mFrequencyBins, mBinEdges[0], 1.0f / mBinWidth, mLevels - 1,
                     mIndices.data());
    const UInt32* const indices = mIndices.data();
    UInt16* row = channel.recent.data();
    for (UInt32 k = 0; k < mFrequencyBins; ++k, row += mLevels)
        ++row[indices[k]];
}

void AAHistogram::EmptyRecent(Channel& channel) {
    double* const counts = channel.counts.get();
    for (std::size_t i = 0; i < channel.recent.size(); ++i)
        counts[i] += channel.recent[i];
    channel.hasCounts = true;
    std::fill(channel.recent.begin(), channel.recent.end(), UInt16{0});
    channel.recentFrames = 0;
}

void AAHistogram::IncrementNonZeroBlockCount(UInt32 channel) {
    SInt32& blocks = mChannels[channel].nonZeroBlocks;
    if (blocks < std::numeric_limits<SInt32>::max())
        ++blocks;
}

SInt32 AAHistogram::GetNnonzeroBlocks(UInt32 channel) const {
    return mChannels[channel].nonZeroBlocks;
}

double AAHistogram::Count(UInt32 channelIndex, UInt32 frequencyBin, UInt32 histogramBin) const {
    const Channel& channel = mChannels[channelIndex];
    const std::size_t cell = std::size_t{frequencyBin} * mLevels + histogramBin;
    return channel.recent[cell] + (channel.hasCounts ? channel.counts.get()[cell] : 0.0);
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
