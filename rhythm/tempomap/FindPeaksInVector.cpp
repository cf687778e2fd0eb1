#include "rhythm/tempomap/FindPeaksInVector.h"

#include <algorithm>

namespace qel::core {

namespace {

// Whether x[i] is above the `window` elements before it and those after it up to `to`.
bool StandsOut(const float* x, unsigned int i, unsigned int window, unsigned int to, float margin) {
    for (unsigned int distance = 1; distance <= window; ++distance) {
        if (!(x[i] > x[i - distance] + margin) ||
            (distance < to - i && !(x[i] > x[i + distance] + margin))) {
            return false;
        }
    }
    return true;
}

} // namespace

void FindPeaksInVector(const float* x, unsigned int n, unsigned int* indices, float* values,
                       unsigned int& count, float threshold, float margin, unsigned int window) {
    unsigned int last = 0;
    // No element before `window` has as many before it.
    for (unsigned int i = std::max(window, 1u); window > 0 && i < n && i + 1 < n; ++i) {
        // One test of all that most elements fail at, as each would often be mispredicted.
        const bool isLow = (x[i] < threshold) | !(x[i] > x[i - 1] + margin) |
                           ((window > 1) & !(x[i] > x[i + 1] + margin));
        if (isLow || (count != 0 && i - last <= window)) {
            continue;
        }
        const unsigned int to = window < n - i ? i + window : n;
        if (StandsOut(x, i, window, to, margin)) {
            indices[count] = i;
            values[count] = x[i];
            ++count;
            last = i;
        }
    }
}

} // namespace qel::core
