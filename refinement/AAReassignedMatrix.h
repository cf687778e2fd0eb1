#pragma once

#include "refinement/AAReassignedPlaces.h"

#include <MacTypes.h>

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <vector>

namespace qel::core {

// The spectrogram: per channel, row after row in one piece, `bins` complex values each.
//
//   1. Construct.
//   2. MakeEmptyRows for a known number of rows. Or MakeRoom, and AddEmptyRow for each row.
//   3. Add values.
//
// One thread at a time.
class AAReassignedMatrix {
public:
    // Allocates no cells.
    AAReassignedMatrix(UInt32 channels, UInt32 bins);

    // Makes `rows` rows of zeros of a matrix without room. Rows that stay empty take no memory
    // where the system gives memory as it is touched. Raises std::bad_alloc.
    void MakeEmptyRows(UInt64 rows);

    // Makes room for `rows` rows in all channels, at least, and leaves what the rows have. Large
    // rooms move without being copied where realloc does so. Raises std::bad_alloc, with the rows
    // as they were.
    void MakeRoom(UInt64 rows);
    UInt64 Room() const { return mRoom; }

    // Adds a row of zeros to each channel. There must be room for it.
    void AddEmptyRow();
    UInt64 Rows() const { return mRows; }

    // Adds a value to the cell of `row` and `column`, both from 1 to their number.
    void Add(UInt32 channel, UInt64 row, UInt32 column, float real, float imag) {
        float* const cell = Channel(channel) + 2 * ((row - 1) * mBins + (column - 1));
        cell[0] += real;
        cell[1] += imag;
    }
    // Adds a frame's values, interleaved, to their places, bin by bin. What lies beyond the last
    // row goes to the last row.
    void AddFrame(UInt32 channel, const AAReassignedPlaces& places, const float* spectrum);

    float* Channel(UInt32 channel) { return mCells[channel].get(); }

private:
    struct Free {
        void operator()(float* cells) const { std::free(cells); }
    };
    std::size_t BytesOf(UInt64 rows) const;

    const UInt32 mBins;
    UInt64 mRoom = 0;
    UInt64 mRows = 0;
    std::vector<std::unique_ptr<float, Free>> mCells; // per channel
};

} // namespace qel::core
