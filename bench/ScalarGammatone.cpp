#include "bench/ScalarGammatone.h"

#include "bench/BenchAudio.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace qel::bench {
namespace {

// One band per ERB between two frequencies in Hz, with the ERB scale and the bandwidths of Hohmann,
// Frequency analysis and synthesis using a Gammatone filterbank, Acta Acustica 88, 2002.
constexpr double kLowestHz = 235.0;
constexpr double kHighestHz = 14500.0;
constexpr double kQuality = 9.265;
constexpr double kLeastBandwidthHz = 24.7;
constexpr double kBandwidthShare = 0.98175; // of the equivalent rectangular one, for four stages

double PlaceOf(double hz) {
    return kQuality * std::log(1.0 + hz / (kQuality * kLeastBandwidthHz));
}

double HzOf(double place) {
    return kQuality * kLeastBandwidthHz * (std::exp(place / kQuality) - 1.0);
}

} // namespace

ScalarGammatone::ScalarGammatone(double sampleRateHz) {
    const double turn = 2.0 * std::numbers::pi / sampleRateHz;
    for (double place = PlaceOf(kLowestHz); place <= PlaceOf(kHighestHz); place += 1.0) {
        const double hz = HzOf(place);
        const double bandwidthHz = (kLeastBandwidthHz + hz / kQuality) / kBandwidthShare;
        const double radius = std::exp(-turn * bandwidthHz);
        mBands.push_back({static_cast<float>(radius * std::cos(turn * hz)),
                          static_cast<float>(radius * std::sin(turn * hz)),
                          static_cast<float>(2.0 * std::pow(1.0 - radius, kStages)),
                          {},
                          {}});
    }
}

void ScalarGammatone::AddBand(Band& band, std::span<const float> audio, float* sum) {
    for (std::size_t n = 0; n < audio.size(); ++n) {
        for (int stage = kStages - 1; stage >= 0; --stage) {
            const float inReal = stage > 0 ? band.real[stage - 1] : band.gain * audio[n];
            const float inImag = stage > 0 ? band.imag[stage - 1] : 0.0f;
            const float real = band.real[stage];
            const float imag = band.imag[stage];
            band.real[stage] = band.realPole * real - band.imagPole * imag + inReal;
            band.imag[stage] = band.realPole * imag + band.imagPole * real + inImag;
        }
        sum[n] += band.real[kStages - 1];
    }
}

float ScalarGammatone::Run(std::span<const float> audio) {
    float seen = 0.0f;
    std::vector<float> sum(kBlockSamples);
    for (std::size_t start = 0; start < audio.size(); start += kBlockSamples) {
        const auto block = audio.subspan(start, std::min(kBlockSamples, audio.size() - start));
        std::fill(sum.begin(), sum.end(), 0.0f);
        for (Band& band : mBands) {
            AddBand(band, block, sum.data());
        }
        for (const float value : sum) {
            seen += value;
        }
    }
    return seen;
}

} // namespace qel::bench
