#include "bench/BenchAudio.h"
#include "bench/PeerBenches.h"
#include "bench/RegisterBench.h"

#include <aubio/aubio.h>
#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

namespace qel::bench {

namespace {

constexpr uint_t kRate = 44100;
constexpr uint_t kCoefficients = 13;
constexpr uint_t kFilters = 13;

template <auto Delete>
struct Deleter {
    void operator()(auto* object) const { Delete(object); }
};
template <class T, auto Delete>
using Owner = std::unique_ptr<T, Deleter<Delete>>;

using Vector = Owner<fvec_t, del_fvec>;
using Spectrum = Owner<cvec_t, del_cvec>;
using Vocoder = Owner<aubio_pvoc_t, del_aubio_pvoc>;
using Cepstrum = Owner<aubio_mfcc_t, del_aubio_mfcc>;
using Descriptor = Owner<aubio_specdesc_t, del_aubio_specdesc>;
using Onset = Owner<aubio_onset_t, del_aubio_onset>;
using Tempo = Owner<aubio_tempo_t, del_aubio_tempo>;

// Calls `perHop` with the audio's hops, one after the other.
void Hops(uint_t hop, auto perHop) {
    const std::vector<float>& audio = MinuteOfMusic();
    for (std::size_t start = 0; start + hop <= audio.size(); start += hop) {
        // The record is not const, but input is only read.
        const fvec_t input = {hop, const_cast<float*>(audio.data() + start)};
        perHop(&input);
    }
}

void BenchCepstrum(benchmark::State& state) {
    constexpr uint_t kFrame = 4096;
    constexpr uint_t kHop = 2048;
    const Vocoder vocoder(new_aubio_pvoc(kFrame, kHop));
    const Spectrum spectrum(new_cvec(kFrame));
    const Cepstrum cepstrum(new_aubio_mfcc(kFrame, kFilters, kCoefficients, kRate));
    const Vector out(new_fvec(kCoefficients));
    if (cepstrum == nullptr) {
        return state.SkipWithError("refused");
    }
    for ([[maybe_unused]] auto _ : state) {
        Hops(kHop, [&](const fvec_t* input) {
            aubio_pvoc_do(vocoder.get(), input, spectrum.get());
            aubio_mfcc_do(cepstrum.get(), spectrum.get(), out.get());
        });
    }
}

// One analysis of frames for all descriptors of the list.
void BenchDescriptors(benchmark::State& state, const std::vector<const char*>& names) {
    constexpr uint_t kFrame = 1024;
    constexpr uint_t kHop = 512;
    const Vocoder vocoder(new_aubio_pvoc(kFrame, kHop));
    const Spectrum spectrum(new_cvec(kFrame));
    const Vector out(new_fvec(1));
    std::vector<Descriptor> descriptors;
    descriptors.reserve(names.size());
    for (const char* name : names) {
        descriptors.emplace_back(new_aubio_specdesc(name, kFrame));
    }
    for ([[maybe_unused]] auto _ : state) {
        Hops(kHop, [&](const fvec_t* input) {
            aubio_pvoc_do(vocoder.get(), input, spectrum.get());
            for (const Descriptor& descriptor : descriptors) {
                aubio_specdesc_do(descriptor.get(), spectrum.get(), out.get());
            }
        });
    }
}

void BenchOnsets(benchmark::State& state) {
    constexpr uint_t kFrame = 512;
    constexpr uint_t kHop = 256;
    const Onset onsets(new_aubio_onset("default", kFrame, kHop, kRate));
    const Vector out(new_fvec(1));
    for ([[maybe_unused]] auto _ : state) {
        Hops(kHop, [&](const fvec_t* input) { aubio_onset_do(onsets.get(), input, out.get()); });
    }
}

void BenchTempo(benchmark::State& state) {
    constexpr uint_t kFrame = 1024;
    constexpr uint_t kHop = 512;
    const Tempo tempo(new_aubio_tempo("default", kFrame, kHop, kRate));
    const Vector out(new_fvec(2));
    for ([[maybe_unused]] auto _ : state) {
        Hops(kHop, [&](const fvec_t* input) { aubio_tempo_do(tempo.get(), input, out.get()); });
    }
}

} // namespace

void RegisterAubioBenches() {
    RegisterBench("peer/libaubio: MFCC", "key/mel frequency cepstral coefficients", 1,
                  BenchCepstrum);
    RegisterBench("peer/libaubio: seven spectral descriptors", "key/generic spectrum properties", 1,
                  [](benchmark::State& state) {
                      BenchDescriptors(state, {"centroid", "spread", "skewness", "kurtosis",
                                               "slope", "decrease", "rolloff"});
                  });
    RegisterBench("peer/libaubio: spectral flux", "key/spectrum flux properties", 1,
                  [](benchmark::State& state) { BenchDescriptors(state, {"specflux"}); });
    RegisterBench("peer/libaubio: onsets", "key/onset data", 1, BenchOnsets);
    RegisterBench("peer/libaubio: tempo", "key/tempo", 1, BenchTempo);
}

} // namespace qel::bench
