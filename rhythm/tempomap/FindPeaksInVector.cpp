#include "rhythm/tempomap/FindPeaksInVector.h"

#include <algorithm>

namespace qel::core {

namespace {

bool StandsOut(const float* x, unsigned int i, unsigned int from, unsigned int to, float margin) {
    for (unsigned int j = from; j < to; ++j) {
        if (j != i && !(x[i] > x[j] + margin)) {
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
        if (x[i] < threshold || (count != 0 && i - last <= window)) {
            continue;
        }
        const unsigned int to = window < n - i ? i + window : n;
        if (StandsOut(x, i, i - window, to, margin)) {
            indices[count] = i;
            values[count] = x[i];
            ++count;
            last = i;
        }
    }
}

} // namespace qel::core
