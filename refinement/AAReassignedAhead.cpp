#include "refinement/AAReassignedAhead.h"

#include <algorithm>
#include <cstddef>

namespace qel::core {

AAReassignedAhead::AAReassignedAhead(UInt32 bins) {
    mValues.reserve(std::size_t{4} * bins);
}

bool AAReassignedAhead::ComesLater(const Value& a, const Value& b) {
    return a.row != b.row ? a.row > b.row : a.order > b.order;
}

void AAReassignedAhead::Keep(UInt32 row, UInt32 column, float real, float imag) {
    mValues.push_back({mKept, row, column, real, imag});
    std::push_heap(mValues.begin(), mValues.end(), ComesLater);
    ++mKept;
}

void AAReassignedAhead::AddRow(UInt32 row, UInt32 channel, AAReassignedMatrix& matrix) {
    while (!mValues.empty() && mValues.front().row == row) {
        const Value& first = mValues.front();
        matrix.Add(channel, row, first.column, first.real, first.imag);
        std::pop_heap(mValues.begin(), mValues.end(), ComesLater);
        mValues.pop_back();
    }
}

void AAReassignedAhead::AddAllToRow(UInt32 row, UInt32 channel, AAReassignedMatrix& matrix) {
    std::sort(mValues.begin(), mValues.end(),
              [](const Value& a, const Value& b) { return a.order < b.order; });
    for (const Value& value : mValues) {
        matrix.Add(channel, row, value.column, value.real, value.imag);
    }
    mValues.clear();
}

} // namespace qel::core
