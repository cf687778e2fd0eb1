#include "rhythm/onsets/OnsetPeaks.h"

#include "rhythm/math/RhythmMath.h"
#include "rhythm/onsets/LevelCounts.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <memory>

namespace qel::core {

namespace {

constexpr unsigned int kCandidatesPerReport = 100;
constexpr SInt64 kDoubleHitSamples = 1024; // a strong onset may follow another within these

// The two values next to a level: the greatest that is not above it, the least that is.
struct Neighbours {
    float lower = -std::numeric_limits<float>::infinity();
    float upper = std::numeric_limits<float>::infinity();

    void Add(const float* x, std::size_t n, float level) {
        for (std::size_t i = 0; i < n; ++i) {
            if (x[i] <= level) {
                lower = std::max(lower, x[i]);
            } else if (x[i] > level) {
                upper = std::min(upper, x[i]);
            }
        }
    }
};

constexpr float kPastTheEnd = 0.0f;

// Calls part(chunk, within, count) for each chunk's share of `n` values from `first` on, until it
// returns false.
template <class Part>
void ForEachPart(unsigned int first, unsigned int n, Part part) {
    for (unsigned int done = 0; done < n;) {
        const unsigned int within = (first + done) % PeakCurve::kChunk;
        const unsigned int count = std::min(PeakCurve::kChunk - within, n - done);
        if (!part((first + done) / PeakCurve::kChunk, within, count)) {
            return;
        }
        done += count;
    }
}

// Whether the bounds tell on which side of the level all values of a chunk are. Then adds `count`.
bool AddByBounds(const PeakCurve::Bounds& bounds, unsigned int count, float level,
                 LevelCounts& counts) {
    const bool areAbove = bounds.areKnown && bounds.least > level;
    const bool areNotAbove = bounds.areKnown && bounds.greatest <= level;
    counts.above += areAbove ? count : 0;
    counts.notAbove += areNotAbove ? count : 0;
    return areAbove || areNotAbove;
}

// The value of the curve at `i`, above 0, and those next to it.
struct Three {
    Three(PeakCurve& x, unsigned int i) {
        const unsigned int chunk = i / PeakCurve::kChunk;
        const unsigned int within = i % PeakCurve::kChunk;
        const float* const values = x.Values(chunk);
        before = within > 0 ? values[within - 1] : x.Values(chunk - 1)[PeakCurve::kChunk - 1];
        value = values[within];
        after = values[within + 1];
    }

    float before;
    float value;
    float after;
};

// Whether an onset at `position` is refused for one that was accepted before. Those in reach are
// the last few.
bool IsTooNear(SInt64 position, bool isStrong, const unsigned int* accepted, unsigned int count,
               int window) {
    for (unsigned int k = count; k > 0; --k) {
        const SInt64 distance = position - accepted[k - 1];
        if (distance >= window) {
            return false;
        }
        if (!isStrong || distance > kDoubleHitSamples) {
            return true;
        }
    }
    return false;
}

} // namespace

void ComputeWeightedDifference(const float* x, unsigned int n, float* out, float weight) {
    for (std::size_t i = 0; i + 1 < n; ++i) {
        out[i] = (x[i] - x[i + 1]) * weight + (1.0f - weight) * x[i];
    }
}

unsigned int MaxPeaks(unsigned int n, int minDistance) {
    // Maxima stand at least two apart.
    const auto distance = static_cast<unsigned int>(std::max(minDistance, 2));
    return n < 3 ? 0 : (n - 3) / distance + 1;
}

void FindLocalMaximaWithDist(PeakCurve& x, unsigned int* indices, float* values,
                             unsigned int& count, float threshold, int minDistance) {
    // None of those that are too near to the one accepted before needs to be looked at.
    const auto distance = static_cast<UInt64>(std::max(minDistance, 1));
    UInt64 next = count > 0 && minDistance > 0 ? indices[count - 1] + distance : 1;
    while (next + 1 < x.Size()) {
        const auto i = static_cast<unsigned int>(next);
        const Three three(x, i);
        if (three.value > three.before && three.value > three.after && three.value > threshold) {
            indices[count] = i;
            values[count] = three.value;
            ++count;
            next += distance;
        } else {
            ++next;
        }
    }
}

bool IsMedianAbove(PeakCurve& x, unsigned int first, unsigned int n, bool zeroBehind, float level) {
    const std::size_t size = n + std::size_t{zeroBehind};
    if (size == 0) {
        return 0.0f > level;
    }
    // Places of the sorted values: first those that are not above, then those above, then NaN.
    const std::size_t place = std::min((size + 1) / 2, size - 1);
    const std::size_t last = size % 2 == 0 ? std::min(place + 1, size - 1) : place;
    LevelCounts counts;
    AddLevelCounts(&kPastTheEnd, std::size_t{zeroBehind}, level, counts);
    std::size_t unknown = n;
    ForEachPart(first, n, [&](unsigned int chunk, unsigned int, unsigned int count) {
        unknown -= AddByBounds(x.BoundsOf(chunk), count, level, counts) ? count : 0;
        return true;
    });
    // Whatever the values are that are not known yet: the answer.
    const auto isBelow = [&] { return last < counts.notAbove; };
    const auto isAbove = [&] {
        return place >= counts.notAbove + unknown && last < counts.notAbove + counts.above;
    };
    ForEachPart(first, n, [&](unsigned int chunk, unsigned int within, unsigned int count) {
        if (isBelow() || isAbove()) {
            return false;
        }
        LevelCounts none;
        if (!AddByBounds(x.BoundsOf(chunk), count, level, none)) {
            AddLevelCounts(x.Values(chunk) + within, count, level, counts);
            unknown -= count;
        }
        return true;
    });
    if (isBelow() || (unknown == 0 && last >= counts.notAbove + counts.above)) {
        return false; // neither of the two is above, or one is NaN
    }
    if (isAbove()) {
        return true;
    }
    Neighbours neighbours;
    ForEachPart(first, n, [&](unsigned int chunk, unsigned int within, unsigned int count) {
        neighbours.Add(x.Values(chunk) + within, count, level);
        return true;
    });
    neighbours.Add(&kPastTheEnd, std::size_t{zeroBehind}, level);
    return 0.5f * (neighbours.lower + neighbours.upper) > level;
}

SInt32 FindPeaksAdaptivleyInVector(PeakCurve& x, unsigned int* indices, float* values,
                                   unsigned int& count, int window, float strongLevel,
                                   float progressStart, float progressEnd, PeakProgress progress,
                                   void* progressContext) {
    x.Normalize();
    const unsigned int n = x.Size();
    const unsigned int room = MaxPeaks(n, window / 4);
    const auto candidates = std::make_unique_for_overwrite<unsigned int[]>(room);
    const auto heights = std::make_unique_for_overwrite<float[]>(room);
    unsigned int candidateCount = 0;
    FindLocalMaximaWithDist(x, candidates.get(), heights.get(), candidateCount, 0.0f, window / 4);

    for (unsigned int i = 0; i < candidateCount; ++i) {
        const SInt64 position = candidates[i];
        const float height = heights[i];
        const SInt64 low = std::max<SInt64>(position - window, 0);
        const SInt64 high = std::min<SInt64>(position + window, n);
        // The upper bound takes part; a window below 0 holds nothing.
        const SInt64 size = std::max<SInt64>(std::min<SInt64>(high + 1, n) - low, 0);
        // The window is looked through only where that still decides.
        const bool isRefused =
            IsTooNear(position, height >= strongLevel, indices, count, window) ||
            (window >= 0 && IsMedianAbove(x, static_cast<unsigned int>(low),
                                          static_cast<unsigned int>(size), high == n, height));
        if (progress != nullptr && i % kCandidatesPerReport == 0) {
            const float done = static_cast<float>(i) / static_cast<float>(candidateCount);
            const float value = progressStart + done * (progressEnd - progressStart);
            if (progress(nullptr, value, progressContext) != 0) {
                return kStopped;
            }
        }
        if (isRefused) {
            continue;
        }
        indices[count] = candidates[i];
        values[count] = height;
        ++count;
    }
    return 0;
}

} // namespace qel::core
