#include "rhythm/CombEnergies.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace qel::core {

namespace {

using Block = std::array<float, kCombBlock>;

// Adds the squares of `count` rows, from `row` back, to a block of combs. The loops over a block
// have a fixed length, for the compiler to keep the sums in registers.
void AddRows(const float* row, UInt32 count, std::size_t stride, Block& sums) {
    Block local = sums;
    for (UInt32 n = 0; n < count; ++n, row -= stride) {
        for (UInt32 i = 0; i < kCombBlock; ++i) {
            local[i] += row[i] * row[i];
        }
    }
    sums = local;
}

// The same for one row and the combs from `first` of the block on.
void AddPartOfRow(const float* row, UInt32 first, Block& sums) {
    for (UInt32 i = 0; i < kCombBlock; ++i) {
        const float square = row[i] * row[i];
        sums[i] += i >= first ? square : 0.0F;
    }
}

} // namespace

void CombOutputs(const CombHistory& history, const float* feedback, const float* feedforward,
                 float x, float* outputs) {
    UInt32 row = history.newestRow;
    for (UInt32 i = 0; i < history.lagCount; ++i) {
        const float past = history.rows[std::size_t{row} * history.lagCount + i];
        outputs[i] = feedback[i] * past + feedforward[i] * x;
        row = row > 0 ? row - 1 : history.lagCount - 1;
    }
}

void CombEnergies(const CombHistory& history, float* energies) {
    const std::size_t stride = history.lagCount;
    for (UInt32 start = 0; start < history.lagCount; start += kCombBlock) {
        // All combs of the block take the last `start` rows; each next one goes a row farther back.
        Block sums{};
        const float* const column = history.rows + start;
        const UInt32 beforeWrap = std::min(start, history.newestRow + 1);
        AddRows(column + history.newestRow * stride, beforeWrap, stride, sums);
        AddRows(column + (stride - 1) * stride, start - beforeWrap, stride, sums);
        UInt32 row = (history.newestRow + history.lagCount - start) % history.lagCount;
        for (UInt32 first = 1; first < kCombBlock; ++first) {
            AddPartOfRow(column + row * stride, first, sums);
            row = row > 0 ? row - 1 : history.lagCount - 1;
        }
        std::copy(sums.begin(), sums.end(), energies + start);
    }
}

} // namespace qel::core
