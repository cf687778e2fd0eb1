// Sorting of values and of indices. NaN has no place in an order: it is moved to the end first.

#include <Accelerate/vDSP.h>

#include <algorithm>
#include <cmath>
#include <functional>

namespace qel::platform {
namespace {

// Sorts indices by the values that they name; equal values, and NaN among themselves, by index.
template <class Value>
void SortIndices(const Value* values, vDSP_Length* indices, vDSP_Length count, bool ascending) {
    vDSP_Length* const end = indices + count;
    vDSP_Length* const numbersEnd =
        std::partition(indices, end, [values](vDSP_Length i) { return !std::isnan(values[i]); });
    std::sort(indices, numbersEnd, [values, ascending](vDSP_Length left, vDSP_Length right) {
        const Value a = values[left];
        const Value b = values[right];
        if (a == b) {
            return left < right;
        }
        return ascending ? a < b : a > b;
    });
    std::sort(numbersEnd, end);
}

} // namespace
} // namespace qel::platform

void vDSP_vsort(float* C, vDSP_Length N, int Order) {
    float* const numbersEnd = std::partition(C, C + N, [](float x) { return !std::isnan(x); });
    if (Order < 0) {
        std::sort(C, numbersEnd, std::greater<>());
    } else {
        std::sort(C, numbersEnd);
    }
}

void vDSP_vsorti(const float* C, vDSP_Length* I, vDSP_Length*, vDSP_Length N, int Order) {
    qel::platform::SortIndices(C, I, N, Order >= 0);
}

void vDSP_vsortiD(const double* C, vDSP_Length* I, vDSP_Length*, vDSP_Length N, int Order) {
    qel::platform::SortIndices(C, I, N, Order >= 0);
}
