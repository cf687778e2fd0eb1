// Values that follow each other are `step` samples apart, so that block b of the filter meets for
// value r the samples that block b - 1 meets for value r + 1. A tile of several values and blocks
// loads each vector of samples once for all of these, where a value by itself would load both
// factors of every product.
//
// A sum is formed tile by tile, so that kPartialSums, kBlocks, kColumns and the fold decide its
// last bits and must not change. kRows does not: each value has its own sums.

#include "rhythm/beats/DecimatingFilter.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "rhythm/beats/DecimatingFilter.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include <hwy/highway.h>

#include <algorithm>
#include <cstddef>
#include <utility>

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// Partial sums of a value: tap n of a block goes to partial sum n mod kPartialSums. The number is
// that of no particular instruction set, so that sums come out the same on all of them.
constexpr std::size_t kPartialSums = DecimatingRun::kPartialSums;

using Wide = hn::CappedTag<float, kPartialSums>;
constexpr std::size_t kLanes = hn::MaxLanes(Wide());

// A tile is kRows values by kBlocks blocks. Their sums and a vector of each block stay in
// registers: 8 + 4 of 16.
constexpr std::size_t kRows = 8;
constexpr std::size_t kBlocks = 4;
// Taps of each block that a run of values is summed over before the next taps: they and the samples
// under them stay in the first cache, which a whole block of a high rate does not.
constexpr std::size_t kColumns = 512;

struct Tile {
    const float* filter;  // of the first block
    const float* samples; // under it, for the first value
    std::size_t step;
    std::size_t columns; // taps of each block
};

// Adds the products of the samples of row r + block b, which r values and blocks have in common, to
// the sums of all of them. Indices of sums are constants, so that sums stay in registers.
template <std::size_t row, std::size_t blocks, class V, std::size_t... kIndices>
HWY_INLINE void AddProducts(V samples, const V* filter, V* sums, std::index_sequence<kIndices...>) {
    const auto add = [&]<std::size_t r>(std::integral_constant<std::size_t, r>) HWY_ATTR {
        if constexpr (row >= r && row - r < blocks) {
            sums[r] = hn::Add(sums[r], hn::Mul(filter[row - r], samples));
        }
    };
    (add(std::integral_constant<std::size_t, kIndices>()), ...);
}

template <std::size_t rows, std::size_t blocks, class V, std::size_t... kIndices>
HWY_INLINE void AddColumn(const Tile& tile, std::size_t n, V* sums,
                          std::index_sequence<kIndices...>) {
    const Wide d;
    V filter[blocks];
    for (std::size_t b = 0; b < blocks; ++b) {
        filter[b] = hn::LoadU(d, tile.filter + b * tile.step + n);
    }
    (AddProducts<kIndices, blocks>(hn::LoadU(d, tile.samples + kIndices * tile.step + n), filter,
                                   sums, std::make_index_sequence<rows>()),
     ...);
}

// Adds the products of a tile to the partial sums of its values.
template <std::size_t rows, std::size_t blocks>
HWY_INLINE void AddTile(const Tile& tile, float* partials) {
    const Wide d;
    const std::size_t whole = tile.columns - tile.columns % kPartialSums;
    for (std::size_t lane = 0; lane < kPartialSums; lane += kLanes) {
        // From 0: few terms are added to a sum of many, which rounds coarsely.
        hn::Vec<Wide> sums[rows];
        for (auto& sum : sums) {
            sum = hn::Zero(d);
        }
        for (std::size_t n = lane; n < whole; n += kPartialSums) {
            AddColumn<rows, blocks>(tile, n, sums, std::make_index_sequence<rows + blocks - 1>());
        }
        for (std::size_t r = 0; r < rows; ++r) {
            float* const partial = partials + r * kPartialSums + lane;
            hn::Store(hn::Add(hn::Load(d, partial), sums[r]), d, partial);
        }
    }
    for (std::size_t n = whole; n < tile.columns; ++n) {
        for (std::size_t r = 0; r < rows; ++r) {
            for (std::size_t b = 0; b < blocks; ++b) {
                partials[r * kPartialSums + n - whole] +=
                    tile.filter[b * tile.step + n] * tile.samples[(r + b) * tile.step + n];
            }
        }
    }
}

// Adds the products of some columns of `blocks` blocks to the partial sums of `count` values.
template <std::size_t blocks>
HWY_INLINE void AddColumns(Tile tile, std::size_t count, float* partials) {
    std::size_t r = 0;
    for (; r + kRows <= count; r += kRows, tile.samples += kRows * tile.step) {
        AddTile<kRows, blocks>(tile, partials + r * kPartialSums);
    }
    for (; r < count; ++r, tile.samples += tile.step) {
        AddTile<1, blocks>(tile, partials + r * kPartialSums);
    }
}

// Adds the upper half of the partial sums to the lower one, and so on down to one.
HWY_INLINE float Fold(const float* p) {
    return ((p[0] + p[4]) + (p[2] + p[6])) + ((p[1] + p[5]) + (p[3] + p[7]));
}

// Adds the products of the slice that begins at `place`, of a wide one those of the next kRows
// values, and moves on after it when all values have them.
void AddSlice(const float* filter, std::size_t taps, const float* samples, std::size_t step,
              std::size_t count, FilterPlace& place, float* partials) {
    const bool isWide = place.firstTap + kBlocks * step <= taps;
    const std::size_t width = isWide ? step : std::min(step, taps - place.firstTap);
    const std::size_t first = place.firstTap + place.column;
    const Tile tile{filter + first, samples + first + place.row * step, step,
                    std::min(kColumns, width - place.column)};
    const std::size_t rows = isWide ? std::min(kRows, count - place.row) : count;
    if (isWide) {
        AddColumns<kBlocks>(tile, rows, partials + place.row * kPartialSums);
    } else {
        AddColumns<1>(tile, rows, partials);
    }
    place.row += rows;
    place.openTaps = isWide ? kBlocks * tile.columns : tile.columns;
    if (place.row < count) {
        return;
    }
    place.row = 0;
    place.column += tile.columns;
    place.tapsDone += place.openTaps;
    if (place.column == width) {
        place.firstTap = place.tapsDone;
        place.column = 0;
    }
}

void FoldAll(const float* partials, std::size_t count, float* out) {
    for (std::size_t r = 0; r < count; ++r) {
        out[r] = Fold(partials + r * kPartialSums);
    }
}

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::core {

HWY_EXPORT(AddSlice);
HWY_EXPORT(FoldAll);

void DecimatingRun::AddSlice(const float* filter, const float* samples) {
    HWY_DYNAMIC_DISPATCH(AddSlice)(filter, mTaps, samples, mStep, mCount, mPlace, mPartials);
}

void DecimatingRun::Finish(float* out) const {
    HWY_DYNAMIC_DISPATCH(FoldAll)(mPartials, mCount, out);
}

void DecimatingFilter(const float* filter, std::size_t taps, const float* samples, std::size_t step,
                      std::size_t count, float* out) {
    for (std::size_t r = 0; r < count; r += DecimatingRun::kMostValues) {
        DecimatingRun run(taps, step, std::min(DecimatingRun::kMostValues, count - r));
        while (!run.IsDone()) {
            run.AddSlice(filter, samples + r * step);
        }
        run.Finish(out + r);
    }
}

} // namespace qel::core

#endif
