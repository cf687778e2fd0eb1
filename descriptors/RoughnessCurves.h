#pragma once

#include "support/runtime/CAAutoDisposer.h"

#include <QelAudioAnalysis.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace qel::core {

// What curves depend on: `bins` of a transform of `frameSize` points, at `sampleRate` Hz.
struct RoughnessDesign {
    UInt32 bins;
    UInt32 frameSize;
    float sampleRate;

    bool operator==(const RoughnessDesign&) const = default;
};

// The two exponentials of the roughness of a pair of partials, tabled: they depend on nothing but
// the bins of the two, so that a frame with hundreds of peaks needs no exponential.
//
// After W. A. Sethares, "Local consonance and the relationship between timbre and scale", JASA
// 94(3), 1993, whose constants differ in the last digits: the curve's width scales with the
// frequency of the lower partial, and it is a difference of two exponentials of their distance.
//
// Constant after construction.
class RoughnessCurves {
public:
    // The designs whose curves stay in the process when nobody uses them, at most 1.2 MB each.
    static constexpr std::size_t kHeld = 2;

    explicit RoughnessCurves(const RoughnessDesign& design);

    // The curves of a design: those that there are in the process, else new ones. Any thread.
    // Raises std::bad_alloc.
    static std::shared_ptr<const RoughnessCurves> Find(const RoughnessDesign& design);

    // Of a lower partial in `bin`: the values for upper ones 1, 2, ... bins above it, to where they
    // leave the range of normal floats.
    std::span<const float> Slow(UInt32 bin) const { return mSlow.Of(bin); }
    std::span<const float> Fast(UInt32 bin) const { return mFast.Of(bin); }

    // The part of Fast(bin) that counts beside a pair `nearest` bins apart: after it values are
    // below e^-25 of that one's.
    std::span<const float> FastFrom(UInt32 bin, UInt32 nearest) const {
        const std::span<const float> curve = mFast.Of(bin);
        return curve.first(std::min(curve.size(), nearest + mFast.reaches[bin]));
    }

    // Bins are in blocks of kBlock. The memory of a curve has all bins of the blocks that it is in,
    // those where it has no value with 0, and each block starts at a cache line: value n of the
    // curve of `bin` stands (bin + 1 + n) % kBlock floats after such a start.
    static constexpr std::size_t kBlock = 32;

private:
    // One curve per bin, one after the other.
    struct Curves {
        CAAutoFree<float> values;
        std::vector<std::size_t> starts;
        std::vector<std::size_t> sizes;
        std::vector<std::size_t> reaches; // of a fall by e^-25, in bins

        std::span<const float> Of(UInt32 bin) const {
            return {values.get() + starts[bin], sizes[bin]};
        }
    };

    static Curves Tabled(float decay, const RoughnessDesign& design);

    Curves mSlow;
    Curves mFast;
};

} // namespace qel::core
