#pragma once

#include <MacTypes.h>

#include <cstddef>

namespace qel::platform {

// How one sample of linear PCM lies in its container.
struct SampleLayout {
    std::size_t containerBytes; // integers: 1 to 4; floats: bits / 8
    UInt32 bits;                // integers: 8, 16, 24 or 32; floats: 32 or 64
    bool isFloat;
    bool isSigned;      // integers only; unsigned is offset binary
    bool isBigEndian;   // of the container
    bool isAlignedHigh; // integers only: the bits are the upper ones of the container
};

// Samples of one layout, and where their floats go. Nothing needs to be aligned.
struct SampleRun {
    const std::byte* source;
    std::size_t sourceStrideBytes;
    std::byte* destination;
    std::size_t destinationStrideBytes;
    std::size_t count;
};

// Converts runs of samples of one layout to floats in the machine's byte order.
//
// Integers of b bits are divided by 2^(b-1), after 2^(b-1) was taken from unsigned ones: full
// scale is [-1, 1). Integers of up to 24 bits come out exactly, 32 bits and doubles are rounded to
// the nearest float (a double beyond every float to infinity), floats keep their bits. What else
// the container holds is not looked at.
class SampleConversion {
public:
    // The layout must be as its fields tell.
    explicit SampleConversion(const SampleLayout& layout) noexcept;

    void operator()(const SampleRun& run) const noexcept { mConvert(mPlace, run); }

    // Brings an integer's bits, once its container is read, to the top of 32, most significant
    // first and signed.
    struct IntegerPlace {
        UInt32 leftShift;
        UInt32 mask;
        UInt32 signFlip;
    };

private:
    using Convert = void (*)(const IntegerPlace&, const SampleRun&) noexcept;

    static IntegerPlace PlaceOf(const SampleLayout& layout) noexcept;
    static Convert ConvertOf(const SampleLayout& layout) noexcept;

    IntegerPlace mPlace;
    Convert mConvert;
};

} // namespace qel::platform
