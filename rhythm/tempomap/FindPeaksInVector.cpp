#include "rhythm/tempomap/FindPeaksInVector.h"

#include "spectral/VectorHelpers.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <numeric>
#include <span>

namespace qel::core {

namespace {

// Whether `height` is above all of x by more than `margin`. Without a branch on the data, so that
// it runs in vector lanes.
bool IsAbove(float height, std::span<const float> x, float margin) {
    unsigned int fails = 0;
    for (const float other : x) {
        fails |= height > other + margin ? 0u : 1u;
    }
    return fails == 0;
}

// Whether x[i] is above the `window` elements before it and those after it up to `to`.
bool StandsOut(const float* x, unsigned int i, unsigned int window, unsigned int to, float margin) {
    return IsAbove(x[i], {x + i - window, window}, margin) &&
           IsAbove(x[i], {x + i + 1, to - i - 1}, margin);
}

// The elements from x[from] to before x[to] that can be peaks; x has a neighbour on both sides of
// them. None but a local maximum stands out by a margin that is not negative, if the window reaches
// to the element after it.
class Candidates {
public:
    static constexpr std::size_t kMost = 128;

    void Find(const float* x, std::size_t from, std::size_t to, bool areMaxima) {
        mFirst = from - 1;
        mCount = 0;
        if (areMaxima) {
            constexpr float kAnyHeight = -std::numeric_limits<float>::infinity();
            FindLocalMaxima(x + mFirst, static_cast<unsigned int>(to - mFirst + 1), mPlaces.data(),
                            mHeights.data(), mCount, kAnyHeight);
        } else {
            mCount = static_cast<unsigned int>(to - from);
            std::iota(mPlaces.begin(), mPlaces.begin() + mCount, 1u);
        }
    }

    unsigned int Count() const { return mCount; }
    unsigned int operator[](unsigned int n) const {
        return static_cast<unsigned int>(mFirst) + mPlaces[n];
    }

private:
    std::size_t mFirst = 0;
    unsigned int mCount = 0;
    std::array<unsigned int, kMost> mPlaces;
    std::array<float, kMost> mHeights;
};

} // namespace

void FindPeaksInVector(const float* x, unsigned int n, unsigned int* indices, float* values,
                       unsigned int& count, float threshold, float margin, unsigned int window) {
    if (window == 0 || n == 0) {
        return;
    }
    const std::size_t end = n - std::size_t{1};
    Candidates candidates;
    unsigned int last = 0;
    // No element before `window` has as many before it.
    for (std::size_t from = window; from < end; from += Candidates::kMost) {
        candidates.Find(x, from, std::min(end, from + Candidates::kMost),
                        margin >= 0.0f && window > 1);
        for (unsigned int c = 0; c < candidates.Count(); ++c) {
            const unsigned int i = candidates[c];
            if (x[i] < threshold || (count != 0 && i - last <= window)) {
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
}

} // namespace qel::core
