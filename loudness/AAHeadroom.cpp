#include "loudness/AAHeadroom.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "loudness/HistogramIndices.h"

namespace qel::core {

namespace {

constexpr double kTailShare = 0.00025; // of all samples, in both tails together

} // namespace

AAHeadroom::AAHeadroom(UInt32 channels, UInt32 histogramBins, float minValue, float maxValue)
    : mHistogramBins(histogramBins), mMinValue(static_cast<SInt32>(minValue)),
      mMaxValue(static_cast<SInt32>(maxValue)), mBinEdges(histogramBins - 1), mChannels(channels),
      mIndices(kStretch) {
    for (Channel& channel : mChannels) {
        channel.recent.resize(std::size_t{kTables} * histogramBins);
        channel.counts.resize(histogramBins);
    }
    Initialize();
}

SInt32 AAHeadroom::Initialize() {
    const auto lowest = static_cast<float>(mMinValue);
    mBinWidth = (static_cast<float>(mMaxValue) - lowest) / static_cast<float>(mHistogramBins - 2);
    for (std::size_t i = 0; i < mBinEdges.size(); ++i)
        mBinEdges[i] = static_cast<float>(i) * mBinWidth + lowest;
    mSampleCount = 0.0;
    return 0;
}

void AAHeadroom::EmptyTables(Channel& channel) {
    for (std::size_t i = 0; i < channel.recent.size(); ++i)
        channel.counts[i % mHistogramBins] += channel.recent[i];
    std::fill(channel.recent.begin(), channel.recent.end(), 0u);
    channel.recentSamples = 0;
}

void AAHeadroom::Update(UInt32 channelIndex, const float* samples, UInt32 count) {
    Channel& channel = mChannels[channelIndex];
    if (count > std::numeric_limits<UInt32>::max() - channel.recentSamples)
        EmptyTables(channel);
    channel.recentSamples += count;
    if (channelIndex == 0)
        mSampleCount += count;

    UInt32* const table0 = channel.recent.data();
    UInt32* const table1 = table0 + mHistogramBins;
    UInt32* const table2 = table1 + mHistogramBins;
    UInt32* const table3 = table2 + mHistogramBins;
    const UInt32* const indices = mIndices.data();
    while (count > 0) {
        const UInt32 now = std::min(count, kStretch);
        IndicesByQuotient(samples, now, mBinEdges[0], mBinWidth, mHistogramBins - 1,
                          mIndices.data());
        UInt32 i = 0;
        for (; i + kTables <= now; i += kTables) {
            ++table0[indices[i]];
            ++table1[indices[i + 1]];
            ++table2[indices[i + 2]];
            ++table3[indices[i + 3]];
        }
        for (; i < now; ++i)
            ++table0[indices[i]];
        samples += now;
        count -= now;
    }
}

double AAHeadroom::Count(UInt32 channelIndex, UInt32 bin) const {
    const Channel& channel = mChannels[channelIndex];
    double count = channel.counts[bin];
    for (UInt32 table = 0; table < kTables; ++table)
        count += channel.recent[std::size_t{table} * mHistogramBins + bin];
    return count;
}

void AAHeadroom::FindHeadRoom(long sampleCount, UInt32 channels, bool* found,
                              float* headroom) const {
    const double target = kTailShare * static_cast<double>(sampleCount);
    for (UInt32 c = 0; c < channels; ++c) {
        double sum = 0.0;
        UInt32 low = 0;
        UInt32 high = mHistogramBins - 1;
        while (sum < target && low < high) {
            sum += Count(c, low++);
            sum += Count(c, high--);
        }
        headroom[c] = 1.0f - std::abs(mBinEdges[low <= 1 ? 0 : low - 2]);
        found[c] = true;
    }
}

} // namespace qel::core
