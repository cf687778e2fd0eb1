// A vector holds two samples of four bands, [earlier | later], or half of that or less where
// vectors are short. The order in which squares are added decides the last bits of an energy and
// must not change:
//
//   1. The part of a chunk that the oldest sample lies in, from its end back to that sample.
//   2. The complete chunks after it, from the newest to the oldest, each summed from its end back.
//   3. The chunk at hand, from its start on.
//   4. The output of now.
//
// Lags that reach no farther back than the start of the chunk at hand are summed from the oldest
// square on.
//
// With c samples in the chunk at hand, comb l of a group finds its oldest sample at place
// (c - l) mod kChunk of a chunk. It lies one chunk farther back for l > c than for l <= c, which is
// one chunk more in 2. It is added in all combs, as zeros where it does not count: adding +0
// changes no sum, as squares are never -0.

#include "rhythm/tempomap/CombLoops.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "rhythm/tempomap/CombLoops.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include <hwy/highway.h>

#include <array>
#include <cstddef>
#include <cstdint>

#ifndef QEL_COMB_LOOPS_COMMON
#define QEL_COMB_LOOPS_COMMON

namespace qel::core::comb_loops {

constexpr std::size_t kBands = CombBank::kBands;
constexpr std::size_t kChunk = CombBank::kChunk;
constexpr std::size_t kSuffixFloats = CombBank::State::kSuffixStride * kBands;

// All bits for the places before kChunk, none from there on. Two samples read from place
// kChunk + c - l: the earlier counts for l > c, the later, which has one more in its chunk, for
// l > c + 1.
struct CountedTable {
    constexpr CountedTable() {
        for (std::size_t n = 0; n < kChunk * kBands; ++n) {
            bits[n] = ~std::uint32_t{0};
        }
    }
    alignas(64) std::array<std::uint32_t, 2 * kChunk * kBands> bits{};
};
inline constexpr CountedTable kCounted;

} // namespace qel::core::comb_loops

#endif

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using comb_loops::kBands;
using comb_loops::kChunk;
using comb_loops::kCounted;
using comb_loops::kSuffixFloats;

using CombTag = hn::CappedTag<float, 2 * kBands>;
constexpr std::size_t kCombLanes = hn::MaxLanes(CombTag());
constexpr std::size_t kCombVectors = 2 * kBands / kCombLanes;

// [earlier | later]
struct TwoSamples {
    // An implicit constructor would not be compiled for the instruction set of this region.
    HWY_INLINE TwoSamples() {}

    hn::Vec<CombTag> v[kCombVectors];
};

template <class Make>
HWY_INLINE TwoSamples MakeTwo(Make make) {
    TwoSamples result;
    for (std::size_t k = 0; k < kCombVectors; ++k) {
        result.v[k] = make(k);
    }
    return result;
}

HWY_INLINE TwoSamples LoadTwo(const float* from) {
    return MakeTwo([from](std::size_t k)
                       HWY_ATTR { return hn::LoadU(CombTag(), from + k * kCombLanes); });
}

// The same four bands for both.
HWY_INLINE TwoSamples LoadForBoth(const float* from) {
    return MakeTwo([from](std::size_t k) HWY_ATTR {
        return hn::LoadDup128(CombTag(), from + k * kCombLanes % kBands);
    });
}

HWY_INLINE TwoSamples operator+(const TwoSamples& a, const TwoSamples& b) {
    return MakeTwo([&](std::size_t k) HWY_ATTR { return hn::Add(a.v[k], b.v[k]); });
}

HWY_INLINE TwoSamples operator*(const TwoSamples& a, const TwoSamples& b) {
    return MakeTwo([&](std::size_t k) HWY_ATTR { return hn::Mul(a.v[k], b.v[k]); });
}

// x where the bits at `mask` are set, 0 elsewhere.
HWY_INLINE TwoSamples Masked(const TwoSamples& x, const TwoSamples& mask) {
    return MakeTwo([&](std::size_t k) HWY_ATTR { return hn::And(x.v[k], mask.v[k]); });
}

HWY_INLINE TwoSamples NoSamples() {
    return MakeTwo([](std::size_t) HWY_ATTR { return hn::Zero(CombTag()); });
}

HWY_INLINE void StoreBoth(const TwoSamples& x, float* to) {
    for (std::size_t k = 0; k < kCombVectors; ++k) {
        hn::StoreU(x.v[k], CombTag(), to + k * kCombLanes);
    }
}

// JoinEarlier(a, b) is [a's earlier | b's earlier].
#if HWY_MAX_BYTES >= 32

HWY_INLINE TwoSamples JoinEarlier(const TwoSamples& a, const TwoSamples& b) {
    return MakeTwo([&](std::size_t)
                       HWY_ATTR { return hn::ConcatLowerLower(CombTag(), b.v[0], a.v[0]); });
}

HWY_INLINE void StoreEarlier(const TwoSamples& x, float* to) {
    const hn::Half<CombTag> half;
    hn::StoreU(hn::LowerHalf(half, x.v[0]), half, to);
}

HWY_INLINE void StoreLater(const TwoSamples& x, float* to) {
    const hn::Half<CombTag> half;
    hn::StoreU(hn::UpperHalf(half, x.v[0]), half, to);
}

#else

constexpr std::size_t kVectorsOfOne = kCombVectors / 2;

HWY_INLINE TwoSamples JoinEarlier(const TwoSamples& a, const TwoSamples& b) {
    return MakeTwo([&](std::size_t k)
                       HWY_ATTR { return k < kVectorsOfOne ? a.v[k] : b.v[k - kVectorsOfOne]; });
}

HWY_INLINE void StoreEarlier(const TwoSamples& x, float* to) {
    for (std::size_t k = 0; k < kVectorsOfOne; ++k) {
        hn::StoreU(x.v[k], CombTag(), to + k * kCombLanes);
    }
}

HWY_INLINE void StoreLater(const TwoSamples& x, float* to) {
    for (std::size_t k = 0; k < kVectorsOfOne; ++k) {
        hn::StoreU(x.v[kVectorsOfOne + k], CombTag(), to + k * kCombLanes);
    }
}

#endif

HWY_INLINE const float* Counted(std::size_t place) {
    return reinterpret_cast<const float*>(kCounted.bits.data()) + place * kBands;
}

// What the combs of a group have in common. All are copies, as a compiler reads them anew after
// each store of a vector otherwise.
struct CombGroup {
    std::size_t lagCount;
    std::size_t inChunk;
    std::size_t ring;   // samples kept
    std::size_t slot;   // of the earlier sample
    std::size_t stride; // from the outputs of a comb to those of the next, floats
    // Of the first comb of the group:
    std::size_t comb;
    const float* feedback;
    const float* feedforward;
    float* outputs;
    float* suffixes;
    float* newest;

    CombGroup(const CombBank::State& state, UInt32 group)
        : lagCount(state.lagCount), inChunk(state.inChunk), ring(CombBank::State::RingOf(group)),
          slot(state.time % ring), stride(CombBank::State::OutputStride(group) * kBands),
          comb(group * kChunk), feedback(state.feedback + comb),
          feedforward(state.feedforward + comb), outputs(state.OutputsOf(group * CombBank::kChunk)),
          suffixes(state.SuffixesOf(group * CombBank::kChunk)),
          newest(state.newest + comb * kBands) {}
};

// The outputs of comb `l` of the group, which are kept.
HWY_INLINE TwoSamples Respond(const CombGroup& g, std::size_t l, const TwoSamples& samples) {
    const CombTag d;
    const auto feedback = hn::Set(d, g.feedback[l]);
    const auto feedforward = hn::Set(d, g.feedforward[l]);
    const auto respond = [&](const TwoSamples& past) HWY_ATTR {
        return MakeTwo([&](std::size_t k) HWY_ATTR {
            return hn::Add(hn::Mul(feedback, past.v[k]), hn::Mul(feedforward, samples.v[k]));
        });
    };
    float* const outputs = g.outputs + l * g.stride;
    std::size_t oldest = g.slot + (kChunk - 1 - l);
    oldest = oldest < g.ring ? oldest : oldest - g.ring;
    TwoSamples past = LoadTwo(outputs + oldest * kBands);
    if (g.comb + l == 0) { // the later output needs the earlier one
        past = JoinEarlier(past, respond(past));
    }
    const TwoSamples response = respond(past);
    StoreBoth(response, outputs + g.slot * kBands);
    if (g.slot == 0) {
        StoreEarlier(response, outputs + g.ring * kBands);
    }
    return response;
}

// Steps 3 and 4 of an energy; `counted` are the bits for step 3.
HWY_INLINE void FinishEnergy(const CombGroup& g, std::size_t l, const TwoSamples& older,
                             const TwoSamples& squares, const TwoSamples& counted,
                             float* energies) {
    const std::size_t comb = (g.comb + l) * kBands;
    float* const kept = g.newest + l * kBands;
    const TwoSamples newest = LoadForBoth(kept) + JoinEarlier(NoSamples(), squares);
    const TwoSamples energy = older + Masked(newest, counted) + squares;
    StoreLater(newest + squares, kept);
    StoreEarlier(energy, energies + comb);
    StoreLater(energy, energies + g.lagCount * kBands + comb);
}

// Lags up to kChunk. The squares of the chunk at hand stand in the places of those suffixes that
// are no longer needed; in the place after the last there is 0.
HWY_INLINE void PushToShortCombs(const CombGroup& g, const TwoSamples& samples, float* energies) {
    const std::size_t c = g.inChunk;
    for (std::size_t l = 0; l < kChunk; ++l) {
        const TwoSamples response = Respond(g, l, samples);
        const TwoSamples squares = response * response;
        float* const suffixes = g.suffixes + l * kSuffixFloats;
        TwoSamples older = NoSamples();
        if (l > c) {
            older = LoadTwo(suffixes + (kChunk + c - l) * kBands);
        }
        StoreBoth(squares, suffixes + c * kBands);
        if (l <= c) {
            for (std::size_t place = c - l; place < c; ++place) {
                older = older + LoadTwo(suffixes + place * kBands);
            }
        }
        FinishEnergy(g, l, older, squares, LoadForBoth(Counted(kChunk + c - l)), energies);
    }
}

// Sums of the squares of a chunk's outputs, from its end back: `take` gets the place and the sum.
template <class Take>
HWY_INLINE void SumFromTheEnd(const float* outputs, Take take) {
    const hn::CappedTag<float, kBands> d;
    for (std::size_t band = 0; band < kBands; band += hn::Lanes(d)) {
        auto sum = hn::Zero(d);
        for (std::size_t place = kChunk; place-- > 0;) {
            const auto output = hn::LoadU(d, outputs + place * kBands + band);
            const auto square = hn::Mul(output, output);
            sum = place + 1 < kChunk ? hn::Add(square, sum) : square;
            take(d, place, band, sum);
        }
    }
}

// Of the two combs whose oldest sample now is the first of a chunk. Their last suffix of the chunk
// before may still be needed: RenewLastSuffixes.
HWY_INLINE void RenewSuffixes(const CombGroup& g, std::size_t slotOfChunk) {
    for (std::size_t l = g.inChunk; l < g.inChunk + CombBank::kSamples; ++l) {
        float* const suffixes = g.suffixes + l * kSuffixFloats;
        SumFromTheEnd(g.outputs + l * g.stride + slotOfChunk * kBands,
                      [&](auto d, std::size_t place, std::size_t band, auto sum) HWY_ATTR {
                          if (place + 1 < kChunk) {
                              hn::StoreU(sum, d, suffixes + place * kBands + band);
                          }
                          if (place == 0) {
                              hn::StoreU(sum, d, suffixes + kChunk * kBands + band);
                          }
                      });
    }
}

HWY_INLINE void RenewLastSuffixes(const CombGroup& g, std::size_t slotOfChunk) {
    const std::size_t last = kChunk - 1;
    for (std::size_t l = g.inChunk; l < g.inChunk + CombBank::kSamples; ++l) {
        const float* const outputs = g.outputs + l * g.stride + (slotOfChunk + last) * kBands;
        float* const suffix = g.suffixes + l * kSuffixFloats + last * kBands;
        for (std::size_t band = 0; band < kBands; ++band) {
            suffix[band] = outputs[band] * outputs[band];
        }
    }
}

// Longer lags. Four combs at a time, so that their sums are formed side by side.
HWY_INLINE void PushToLongCombs(const CombBank::State& state, UInt32 group,
                                const TwoSamples& samples, float* energies) {
    const CombGroup g(state, group);
    constexpr std::size_t kAtOnce = 4;
    const std::size_t c = g.inChunk;
    const std::size_t slotOfChunk = (g.slot - c + kChunk) % g.ring;
    RenewSuffixes(g, slotOfChunk);
    const std::size_t step = state.ChunkSumsStride();
    const float* const newestChunk = state.ChunkSums(1) + g.comb * kBands;
    const TwoSamples all = LoadForBoth(Counted(0));
    for (std::size_t l = 0; l < kChunk; l += kAtOnce) {
        TwoSamples older[kAtOnce];
        for (std::size_t j = 0; j < kAtOnce; ++j) {
            const std::size_t place = (kChunk + c - l - j) % kChunk;
            older[j] = LoadTwo(g.suffixes + (l + j) * kSuffixFloats + place * kBands);
        }
        const float* chunk = newestChunk + l * kBands;
        for (UInt32 back = 1; back < group; ++back, chunk -= step) {
            for (std::size_t j = 0; j < kAtOnce; ++j) {
                older[j] = older[j] + LoadForBoth(chunk + j * kBands);
            }
        }
        for (std::size_t j = 0; j < kAtOnce; ++j) {
            older[j] = older[j] + Masked(LoadForBoth(chunk + j * kBands),
                                         LoadTwo(Counted(kChunk + c - l - j)));
            const TwoSamples response = Respond(g, l + j, samples);
            FinishEnergy(g, l + j, older[j], response * response, all, energies);
        }
    }
    RenewLastSuffixes(g, slotOfChunk);
}

void PushTwo(const CombBank::State& state, const float* samples, float* energies) {
    const TwoSamples both = LoadTwo(samples);
    PushToShortCombs(CombGroup(state, 0), both, energies);
    for (UInt32 group = 1; group < state.lagCount / kChunk; ++group) {
        PushToLongCombs(state, group, both, energies);
    }
}

void Close(const CombBank::State& state) {
    const hn::CappedTag<float, kBands> d;
    for (std::size_t l = 0; l < kChunk; ++l) {
        float* const squares = state.suffixes + l * kSuffixFloats;
        for (std::size_t n = (kChunk - 1) * kBands; n-- > 0;) {
            squares[n] += squares[n + kBands];
        }
    }
    float* const sums = state.ChunkSums(1);
    float* const again = state.ChunkSumsAgain();
    for (UInt32 group = 1; group < state.lagCount / kChunk; ++group) {
        const CombGroup g(state, group);
        const std::size_t slotOfChunk = (g.slot + g.ring - kChunk) % g.ring;
        for (std::size_t l = 0; l < kChunk; ++l) {
            const std::size_t comb = (g.comb + l) * kBands;
            SumFromTheEnd(g.outputs + l * g.stride + slotOfChunk * kBands,
                          [&](auto, std::size_t place, std::size_t band, auto sum) HWY_ATTR {
                              if (place == 0) {
                                  hn::StoreU(sum, d, sums + comb + band);
                                  hn::StoreU(sum, d, again + comb + band);
                              }
                          });
        }
    }
    for (std::size_t n = 0; n < state.lagCount * kBands; n += hn::Lanes(d)) {
        hn::StoreU(hn::Zero(d), d, state.newest + n);
    }
}

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::core {

HWY_EXPORT(PushTwo);
HWY_EXPORT(Close);

void PushToCombs(const CombBank::State& state, const float* samples, float* energies) {
    HWY_DYNAMIC_DISPATCH(PushTwo)(state, samples, energies);
}

void CloseChunk(const CombBank::State& state) {
    HWY_DYNAMIC_DISPATCH(Close)(state);
}

} // namespace qel::core

#endif
