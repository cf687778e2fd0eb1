#pragma once

#include <MacTypes.h>

#include <vector>

namespace qel::core {

// The places to which the values of one frame of one channel go: a column and a row for each bin,
// both counted from 1.
//
// Required by the contract: places are the nearest whole numbers, half of one goes to the even
// neighbour, and what is no number or beyond 32 bits goes to the first place. Columns are at most
// the number of bins. Rows end where the stream ends, so that their reader limits them.
class AAReassignedPlaces {
public:
    explicit AAReassignedPlaces(UInt32 bins) : mColumns(bins), mRows(bins) {}

    // From frequencies in bins and times in frames, one of each for every bin.
    void Find(const float* frequencies, const float* times);

    UInt32 Bins() const { return static_cast<UInt32>(mColumns.size()); }
    int Column(UInt32 bin) const { return mColumns[bin]; }
    int Row(UInt32 bin) const { return mRows[bin]; }

private:
    std::vector<int> mColumns;
    std::vector<int> mRows;
};

} // namespace qel::core
