#pragma once

#include "rhythm/onsets/CurveCode.h"
#include "rhythm/onsets/OnsetCurve.h"

#include <MacTypes.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace qel::core {

// The parts of the code of CurveCode: first the heads of all groups, then the numbers of all groups
// without gaps, low bits first.

static_assert(std::endian::native == std::endian::little, "numbers are written in words");

inline constexpr UInt32 kCodeGroup = 32;
inline constexpr std::size_t kCodeHeadBytes = sizeof(std::uint32_t) + 1;
static_assert(kMostCodeBytes >= kMostCoded / kCodeGroup * kCodeHeadBytes +
                                    kMostCoded * sizeof(std::uint32_t) + sizeof(std::uint64_t));

struct CodeHead {
    std::uint32_t mask; // of the values whose number is not 0
    UInt32 bits;        // of each number, at most 32
};

inline void WriteCodeHead(Byte* out, CodeHead head) {
    std::memcpy(out, &head.mask, sizeof(head.mask));
    out[sizeof(head.mask)] = static_cast<Byte>(head.bits);
}

inline CodeHead ReadCodeHead(const Byte* in) {
    CodeHead head{0, in[sizeof(head.mask)]};
    std::memcpy(&head.mask, in, sizeof(head.mask));
    return head;
}

// The bits of a value times the pole, which counts floats of one sign.
inline std::uint32_t Shrunken(float value) {
    return std::bit_cast<std::uint32_t>(kOnsetSmoothingPole * value);
}

// Writes numbers of some bits one after the other.
class BitWriter {
public:
    explicit BitWriter(Byte* out) : mOut(out) {}

    void PutAll(const std::uint32_t* values, std::size_t count, UInt32 bits) {
        std::size_t i = 0;
        // Several at once are fewer steps that wait for each other.
        if (3 * bits <= kMostAtOnce) {
            for (; i + 3 <= count; i += 3) {
                const std::uint64_t later = values[i + 1] | std::uint64_t{values[i + 2]} << bits;
                Put(values[i] | later << bits, 3 * bits);
            }
        } else if (2 * bits <= kMostAtOnce) {
            for (; i + 2 <= count; i += 2) {
                Put(values[i] | std::uint64_t{values[i + 1]} << bits, 2 * bits);
            }
        }
        for (; i < count; ++i) {
            Put(values[i], bits);
        }
    }

    // Returns the end of what was written.
    Byte* Finish() const { return mOut + (mCount + 7) / 8; }

private:
    static constexpr UInt32 kMostAtOnce = 56; // beside 7 that wait

    // Whole bytes are done with; fewer bits than a byte wait.
    void Put(std::uint64_t value, UInt32 bits) {
        mWaiting |= value << mCount;
        std::memcpy(mOut, &mWaiting, sizeof(mWaiting));
        mCount += bits;
        mOut += mCount / 8;
        mWaiting >>= mCount / 8 * 8;
        mCount %= 8;
    }

    Byte* mOut;
    std::uint64_t mWaiting = 0;
    UInt32 mCount = 0; // bits that wait
};

} // namespace qel::core
