#pragma once

#include <MacTypes.h>

namespace qel::core {

// A curve of which the peaks are looked for, read in chunks of kChunk values. What its owner knows
// of a chunk as a whole spares reading most of them.
class PeakCurve {
public:
    static constexpr UInt32 kChunk = 256;

    // Bounds of the values of a chunk, NaN not among them. Others than these must be finite.
    struct Bounds {
        float least;
        float greatest;
        bool areKnown; // all values are numbers, and between them
    };

    PeakCurve() = default;
    PeakCurve(const PeakCurve&) = delete;
    PeakCurve& operator=(const PeakCurve&) = delete;
    virtual ~PeakCurve() = default;

    virtual UInt32 Size() const = 0;
    // NormalizeFloatVector of the whole curve. Comes before any reading.
    virtual void Normalize() = 0;
    virtual Bounds BoundsOf(UInt32 chunk) const = 0;
    // The values of a chunk, and the one after them if there is one. They hold until another chunk
    // that is no neighbour of this one is read.
    virtual const float* Values(UInt32 chunk) = 0;

    // Values that the chunk has.
    UInt32 SizeOf(UInt32 chunk) const {
        const UInt32 first = chunk * kChunk;
        return Size() - first < kChunk ? Size() - first : kChunk;
    }
};

} // namespace qel::core
