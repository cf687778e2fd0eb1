#pragma once

#include "rhythm/onsets/PeakCurve.h"
#include "spectral/VectorHelpers.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace qel::test {

// A curve that is a vector, of any values. Normalize replaces them.
class VectorPeakCurve final : public core::PeakCurve {
public:
    explicit VectorPeakCurve(std::vector<float>& values) : mValues(values) {}

    UInt32 Size() const override { return static_cast<UInt32>(mValues.size()); }
    void Normalize() override { core::NormalizeFloatVector(mValues.data(), Size()); }
    Bounds BoundsOf(UInt32 chunk) const override {
        const float* const first = mValues.data() + chunk * kChunk;
        const float* const end = first + SizeOf(chunk);
        const auto [least, greatest] = std::minmax_element(first, end);
        return {*least, *greatest,
                std::none_of(first, end, [](float value) { return std::isnan(value); })};
    }
    const float* Values(UInt32 chunk) override { return mValues.data() + chunk * kChunk; }

private:
    std::vector<float>& mValues;
};

} // namespace qel::test
