// A vector holds several lags.

#include "rhythm/tempomap/CombSalience.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "rhythm/tempomap/CombSalience.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include "rhythm/tempomap/CombBank.h"

#include <hwy/highway.h>

#include <cstddef>

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

void SumBands(const float* energies, const float* meanEnergies, const SalienceWeights& weights,
              UInt32 lagCount, float* salience) {
    const hn::CappedTag<float, CombBank::kChunk> d;
    for (std::size_t i = 0; i < lagCount; i += hn::Lanes(d)) {
        hn::Vec<decltype(d)> bands[CombBank::kBands];
        hn::LoadInterleaved4(d, energies + i * CombBank::kBands, bands[0], bands[1], bands[2],
                             bands[3]);
        const auto lagScale = hn::LoadU(d, weights.lagScale + i);
        const auto energyNorm = hn::LoadU(d, weights.energyNorm + i);
        const auto normScale = hn::LoadU(d, weights.normScale + i);
        auto sum = hn::Zero(d);
        for (std::size_t band = 0; band < CombBank::kBands; ++band) {
            const auto share =
                hn::Div(hn::Mul(bands[band], lagScale), hn::Set(d, meanEnergies[band]));
            sum = hn::Add(sum, hn::Mul(hn::Sub(share, energyNorm), normScale));
        }
        hn::StoreU(sum, d, salience + i);
    }
}

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::core {

HWY_EXPORT(SumBands);

void SumSalience(const float* energies, const float* meanEnergies, const SalienceWeights& weights,
                 UInt32 lagCount, float* salience) {
    HWY_DYNAMIC_DISPATCH(SumBands)(energies, meanEnergies, weights, lagCount, salience);
}

} // namespace qel::core

#endif
