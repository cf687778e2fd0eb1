#include "refinement/AAReassignedMatrix.h"

#include "refinement/AAReassignedMemory.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

namespace qel::core {

AAReassignedMatrix::AAReassignedMatrix(UInt32 channels, UInt32 bins)
    : mBins(bins), mCells(channels) {}

std::size_t AAReassignedMatrix::BytesOf(UInt64 rows) const {
    const UInt64 row = UInt64{2} * sizeof(float) * mBins;
    if (row > 0 && rows > std::numeric_limits<std::size_t>::max() / row) {
        throw std::bad_alloc();
    }
    return std::max<std::size_t>(rows * row, 1);
}

void AAReassignedMatrix::MakeEmptyRows(UInt64 rows) {
    for (auto& cells : mCells) {
        cells.reset(static_cast<float*>(std::calloc(BytesOf(rows), 1)));
        if (cells == nullptr) {
            throw std::bad_alloc();
        }
    }
    mRoom = rows;
    mRows = rows;
}

void AAReassignedMatrix::MakeRoom(UInt64 rows) {
    if (rows <= mRoom) {
        return;
    }
    const std::size_t bytes = BytesOf(rows);
    for (auto& cells : mCells) {
        auto* const moved = static_cast<float*>(std::realloc(cells.get(), bytes));
        if (moved == nullptr) {
            throw std::bad_alloc();
        }
        (void)cells.release();
        cells.reset(moved);
        PreferSmallPages(moved);
    }
    mRoom = rows;
}

void AAReassignedMatrix::AddEmptyRow() {
    const std::size_t floats = std::size_t{2} * mBins;
    for (auto& cells : mCells) {
        std::memset(cells.get() + mRows * floats, 0, floats * sizeof(float));
    }
    ++mRows;
}

void AAReassignedMatrix::AddFrame(UInt32 channel, const AAReassignedPlaces& places,
                                  const float* spectrum) {
    for (UInt32 k = 0; k < mBins; ++k) {
        const auto row = std::min(static_cast<UInt64>(places.Row(k)), mRows);
        Add(channel, row, static_cast<UInt32>(places.Column(k)), spectrum[2 * k],
            spectrum[2 * k + 1]);
    }
}

} // namespace qel::core
