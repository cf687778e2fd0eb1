#include "spectral/mel/MelFilterBanks.h"

#include "elementary/Functions.h"
#include "spectral/QelAASpectralProcessor.h"
#include "spectral/mel/MelScale.h"
#include "support/runtime/SharedDesigns.h"

#include <algorithm>
#include <vector>

namespace qel::core {

namespace {

constexpr float kLowestFrequencyHz = 133.3332977294922f;

using Edges = std::vector<float>; // Hz; filter b reaches from edge b to edge b + 2

Edges MelEdges(UInt32 filters, double sampleRateHz) {
    const float lowest = Hz2Mel2(0.0f);
    const float highest = Hz2Mel2(static_cast<float>(sampleRateHz / 2.0));
    Edges edges(filters + std::size_t{2});
    for (std::size_t i = 0; i < edges.size(); ++i) {
        const float t = static_cast<float>(i) / static_cast<float>(1 + filters);
        edges[i] = Mel2Hz2((highest - lowest) * t + lowest);
    }
    return edges;
}

// The first `linear` edges are equally spaced, the others a constant ratio apart.
Edges LinearThenLogEdges(UInt32 linear, UInt32 filters) {
    Edges edges(filters + std::size_t{2});
    for (std::size_t i = 0; i < linear; ++i) {
        edges[i] = kLowestFrequencyHz + static_cast<float>(i) * kMelLinearSpacingHz;
    }
    for (std::size_t i = linear; i < edges.size(); ++i) {
        const auto steps = static_cast<float>(i - linear + 1);
        edges[i] = edges[linear - 1] * elementary::Pow(kMelLogSpacing, steps);
    }
    return edges;
}

// The smaller of the rising and the falling line, where it is above 0.
float TriangleOfLines(float hz, const float* edges) {
    const double height = 2.0 / static_cast<double>(edges[2] - edges[0]);
    const float rise = (hz - edges[0]) / (edges[1] - edges[0]);
    const float fall = (edges[2] - hz) / (edges[2] - edges[1]);
    const float smaller = std::min(rise, fall);
    return smaller > 0.0f ? static_cast<float>(height * static_cast<double>(smaller)) : 0.0f;
}

// One line on each side of the centre, which belongs to the rising one; the order of operations
// decides the last place.
float TriangleOfSides(float hz, const float* edges) {
    const float lower = edges[0];
    const float center = edges[1];
    const float upper = edges[2];
    const float height = 2.0f / (upper - lower);
    if (hz > lower && hz <= center) {
        return height * (hz - lower) / (center - lower);
    }
    if (hz > center && hz < upper) {
        return height * (upper - hz) / (upper - center);
    }
    return 0.0f;
}

template <class Triangle>
void FillBank(MelFilterBank& bank, const std::vector<float>& binsHz, const Edges& edges,
              Triangle triangle) {
    bank.Clear(static_cast<UInt32>(binsHz.size()));
    std::vector<float> weights(binsHz.size());
    for (std::size_t b = 0; b + 2 < edges.size(); ++b) {
        std::transform(binsHz.begin(), binsHz.end(), weights.begin(),
                       [&](float hz) { return triangle(hz, edges.data() + b); });
        bank.Append(weights.data());
    }
}

std::vector<float> FrequenciesOfBins(const MelDesign& design) {
    std::vector<float> binsHz(design.frameSize / 2);
    QelAASpectralProcessor::FrequenciesOfBins(binsHz.data(), design.frameSize,
                                              static_cast<float>(design.sampleRateHz));
    return binsHz;
}

class DesignedMelFilterBank : public MelFilterBank {
public:
    explicit DesignedMelFilterBank(const MelDesign& design) {
        const std::vector<float> binsHz = FrequenciesOfBins(design);
        if (design.spacing == MelSpacing::Mel) {
            FillBank(*this, binsHz, MelEdges(design.filters, design.sampleRateHz), TriangleOfLines);
        } else {
            FillBank(*this, binsHz, LinearThenLogEdges(design.linearFilters, design.filters),
                     TriangleOfSides);
        }
    }
};

} // namespace

MelFilterBanks::Pointer MelFilterBanks::Find(const MelDesign& design) {
    if (design.filters > kMostShared || design.frameSize > kLongestShared) {
        return std::make_shared<const DesignedMelFilterBank>(design);
    }
    static auto& table = *new SharedDesigns<MelDesign, DesignedMelFilterBank, kHeld>;
    return table.Find(design);
}

MelFilterBanks::Pointer MelFilterBanks::Empty(UInt32 bins) {
    auto bank = std::make_shared<MelFilterBank>();
    bank->Clear(bins);
    return bank;
}

} // namespace qel::core
