#include "pitch/SemitoneScale.h"

#include "elementary/Functions.h"

#include <bit>
#include <cmath>
#include <cstdint>

namespace qel::core {

namespace {

// 440 * 2^(-9 / 12), rounded to four decimals. One way divides by the decimal in double precision,
// the other multiplies by the float nearest to it: the exact C is one unit below.
constexpr double kReferenceHz = 261.6256;
constexpr auto kNarrowReferenceHz = static_cast<float>(kReferenceHz);
static_assert(std::bit_cast<std::uint32_t>(kNarrowReferenceHz) == 0x4382D014);

} // namespace

float FreqToChroma(float hz) {
    const auto ratio = static_cast<float>(static_cast<double>(hz) / kReferenceHz);
    return static_cast<float>(std::round(static_cast<double>(elementary::Log2(ratio)) * 12.0));
}

float ChromaToFreq(float semitone) {
    return elementary::Pow(2.0f, semitone / 12.0f) * kNarrowReferenceHz;
}

} // namespace qel::core
