#pragma once

#include "refinement/AAReassignedMatrix.h"

#include <MacTypes.h>

#include <vector>

namespace qel::core {

// Values of one channel that go to rows for which no frame has come yet. They wait until it is
// known whether their row is there: rows end where the stream ends, and what lies beyond goes to
// the last row. Most music has a few dozen at a time.
//
// A cell gets its values in the order in which they were kept, since sums of floats depend on it.
//
// One thread at a time. Keep allocates when more values wait than ever before.
class AAReassignedAhead {
public:
    // Has room for the values of four frames of `bins`.
    explicit AAReassignedAhead(UInt32 bins);

    // Raises std::bad_alloc without the value.
    void Keep(UInt32 row, UInt32 column, float real, float imag);

    // Adds what waits for `row`, which is the lowest for which anything waits.
    void AddRow(UInt32 row, UInt32 channel, AAReassignedMatrix& matrix);

    // Adds all that waits to `row`.
    void AddAllToRow(UInt32 row, UInt32 channel, AAReassignedMatrix& matrix);

private:
    struct Value {
        UInt64 order;
        UInt32 row;
        UInt32 column;
        float real;
        float imag;
    };
    static bool ComesLater(const Value& a, const Value& b);

    std::vector<Value> mValues; // a heap, of which the first comes first
    UInt64 mKept = 0;
};

} // namespace qel::core
