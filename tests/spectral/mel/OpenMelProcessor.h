#pragma once

#include "spectral/mel/AAMelFrequencySpectralProcessor.h"

#include <cstddef>
#include <vector>

namespace qel::core::test {

// A mel processor whose inside can be looked at.
class OpenMelProcessor : public AAMelFrequencySpectralProcessor {
public:
    using AAMelFrequencySpectralProcessor::AAMelFrequencySpectralProcessor;
    // One channel, frames of `length` samples that do not overlap.
    OpenMelProcessor(UInt32 length, UInt32 filters, double sampleRateHz)
        : AAMelFrequencySpectralProcessor(length, length, 1, length, false, false, filters,
                                          sampleRateHz) {}

    using AAMelFrequencySpectralProcessor::mEarBuffer;
    using AAMelFrequencySpectralProcessor::mFilterWeights;
    using AAMelFrequencySpectralProcessor::mLogEarBuffer;
    using AAMelFrequencySpectralProcessor::mMaxMagnitudes;
    using AAMelFrequencySpectralProcessor::mMinMagnitudes;
    using AAMelFrequencySpectralProcessor::mNumBins;
    using AAMelFrequencySpectralProcessor::mNumFilters;
    using AAMelFrequencySpectralProcessor::mNumLinearFilters;
    using AAMelFrequencySpectralProcessor::mSpectralBufferList;
    using AAMelFrequencySpectralProcessor::mTempBuffer;
    using AAMelFrequencySpectralProcessor::mWindow;

    // The weight of bin j and filter b at j * filters + b.
    std::vector<float> DenseWeights() const {
        std::vector<float> dense(std::size_t{mNumBins} * mFilterWeights->NumFilters(), -1.0f);
        mFilterWeights->FillDense(dense.data());
        return dense;
    }

    static std::vector<float> Values(const CABufferList& list, UInt32 channel, std::size_t count) {
        const auto* const data =
            static_cast<const float*>(list.GetBufferList().mBuffers[channel].mData);
        return {data, data + count};
    }
    std::vector<float> Ear(UInt32 channel = 0) const {
        return Values(*mEarBuffer, channel, mNumLinearFilters + 27);
    }
    std::vector<float> LogEar(UInt32 channel = 0) const {
        return Values(*mLogEarBuffer, channel, mNumLinearFilters + 27);
    }
    std::vector<float> Magnitudes(UInt32 channel = 0) const {
        return Values(*mTempBuffer, channel, mNumBins);
    }
};

} // namespace qel::core::test
