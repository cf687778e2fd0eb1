#include "loudness/range/AAHeadroom.h"

#include "loudness/range/HistogramIndices.h"

#include <algorithm>
#include <cmath>

namespace qel::core {

namespace {

constexpr double kTailShare = 0.00025; // of all samples, in both tails together

} // namespace

AAHeadroom::AAHeadroom(UInt32 channels, UInt32 histogramBins, float minValue, float maxValue)
    : mHistogramBins(histogramBins), mMinValue(static_cast<SInt32>(minValue)),
      mMaxValue(static_cast<SInt32>(maxValue)), mBinEdges(histogramBins - 1),
      mCounts(channels, std::vector<double>(std::size_t{kTables} * histogramBins)),
      mIndices(kStretch) {
    Initialize();
}

SInt32 AAHeadroom::Initialize() {
    const auto lowest = static_cast<float>(mMinValue);
    mBinWidth = (static_cast<float>(mMaxValue) - lowest) / static_cast<float>(mHistogramBins - 2);
    for (std::size_t i = 0; i < mBinEdges.size(); ++i) {
        mBinEdges[i] = static_cast<float>(i) * mBinWidth + lowest;
    }
    mSampleCount = 0.0;
    return 0;
}

void AAHeadroom::Update(UInt32 channel, const float* samples, UInt32 count) {
    if (channel == 0) {
        mSampleCount += count;
    }
    double* const table0 = mCounts[channel].data();
    double* const table1 = table0 + mHistogramBins;
    double* const table2 = table1 + mHistogramBins;
    double* const table3 = table2 + mHistogramBins;
    const UInt32* const indices = mIndices.data();
    while (count > 0) {
        const UInt32 now = std::min(count, kStretch);
        IndicesByQuotient(samples, now, mBinEdges[0], mBinWidth, mHistogramBins - 1,
                          mIndices.data());
        UInt32 i = 0;
        for (; i + kTables <= now; i += kTables) {
            table0[indices[i]] += 1.0;
            table1[indices[i + 1]] += 1.0;
            table2[indices[i + 2]] += 1.0;
            table3[indices[i + 3]] += 1.0;
        }
        for (; i < now; ++i) {
            table0[indices[i]] += 1.0;
        }
        samples += now;
        count -= now;
    }
}

double AAHeadroom::Count(UInt32 channel, UInt32 bin) const {
    double count = 0.0;
    for (UInt32 table = 0; table < kTables; ++table) {
        count += mCounts[channel][std::size_t{table} * mHistogramBins + bin];
    }
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
