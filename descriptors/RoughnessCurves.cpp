#include "descriptors/RoughnessCurves.h"

#include "elementary/Functions.h"
#include "spectral/VectorHelpers.h"
#include "support/runtime/SharedDesigns.h"

namespace qel::core {

namespace {

constexpr float kPeakSpacing = 0.24f;
constexpr float kWidthSlope = 0.0207f;
constexpr float kWidthOffset = 18.96f;
constexpr float kSlowDecay = -3.51f;
constexpr float kFastDecay = -5.75f;
constexpr float kLeastExponent = -87.3f; // of a normal float
constexpr float kNegligibleExponent = -25.0f;

std::size_t NextBlock(std::size_t size) {
    constexpr std::size_t kBlock = RoughnessCurves::kBlock;
    return (size + kBlock - 1) / kBlock * kBlock;
}

} // namespace

RoughnessCurves::RoughnessCurves(const RoughnessDesign& design)
    : mSlow(Tabled(kSlowDecay, design)), mFast(Tabled(kFastDecay, design)) {}

std::shared_ptr<const RoughnessCurves> RoughnessCurves::Find(const RoughnessDesign& design) {
    static auto& table = *new SharedDesigns<RoughnessDesign, RoughnessCurves, kHeld>;
    return table.Find(design);
}

RoughnessCurves::Curves RoughnessCurves::Tabled(float decay, const RoughnessDesign& design) {
    const auto& [bins, frameSize, sampleRate] = design;
    Curves curves;
    std::vector<float> values;
    for (UInt32 bin = 0; bin < bins; ++bin) {
        values.resize(NextBlock(values.size()) + (bin + std::size_t{1}) % kBlock);
        curves.starts.push_back(values.size());
        const float frequency = BinToFreq(bin, frameSize, sampleRate);
        const float scale = kPeakSpacing / (kWidthSlope * frequency + kWidthOffset);
        std::size_t reach = 0;
        for (UInt32 upper = bin + 1; upper < bins; ++upper) {
            const float distance = BinToFreq(upper, frameSize, sampleRate) - frequency;
            const float exponent = decay * scale * distance;
            if (exponent < kLeastExponent) {
                break;
            }
            values.push_back(elementary::Exp(exponent));
            if (!(exponent < kNegligibleExponent)) {
                reach = upper - bin;
            }
        }
        curves.reaches.push_back(reach + 1);
        curves.sizes.push_back(values.size() - curves.starts.back());
    }
    values.resize(NextBlock(values.size()));
    curves.values.alloc(values.size(), false);
    std::copy(values.begin(), values.end(), curves.values.get());
    return curves;
}

} // namespace qel::core
