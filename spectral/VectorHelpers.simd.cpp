// The search for local maxima, without a branch on the data: it would be mispredicted at a third of
// the bins of noise.

#include "spectral/VectorHelpers.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "spectral/VectorHelpers.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include <hwy/highway.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// Elements whose maxima are one word of bits.
constexpr std::size_t kWord = 64;

// Bit n tells whether data[n] is a maximum.
template <class D>
HWY_INLINE std::uint64_t BitsOfMaxima(D d, const float* data, float threshold) {
    const auto x = hn::LoadU(d, data);
    const auto isAbove =
        hn::And(hn::Gt(x, hn::LoadU(d, data - 1)), hn::Gt(x, hn::LoadU(d, data + 1)));
    std::uint8_t bytes[sizeof(std::uint64_t)] = {};
    hn::StoreMaskBits(d, hn::And(isAbove, hn::Gt(x, hn::Set(d, threshold))), bytes);
    std::uint64_t bits = 0;
    std::memcpy(&bits, bytes, sizeof bits);
    return bits;
}

// The same for data[from] and those after it, `count` up to kWord.
HWY_INLINE std::uint64_t WordOfMaxima(const float* data, std::size_t from, std::size_t count,
                                      float threshold) {
    const hn::CappedTag<float, kWord> full;
    const hn::CappedTag<float, 1> one;
    constexpr std::size_t kLanes = hn::MaxLanes(full);
    std::uint64_t word = 0;
    std::size_t n = 0;
    for (; n + kLanes <= count; n += kLanes) {
        word |= BitsOfMaxima(full, data + from + n, threshold) << n;
    }
    if (n < count && from + count > kLanes) { // once more with elements that are done
        const std::size_t done = kLanes - (count - n);
        word |= BitsOfMaxima(full, data + from + n - done, threshold) >> done << n;
        n = count;
    }
    for (; n < count; ++n) {
        word |= BitsOfMaxima(one, data + from + n, threshold) << n;
    }
    return word;
}

// Several places are written at a time, whether or not there are as many, so that the number of
// maxima in a word is seldom mispredicted.
HWY_INLINE std::size_t StorePlaces(std::uint64_t word, std::size_t from, std::size_t* places) {
    constexpr std::size_t kAtOnce = 4;
    const auto count = static_cast<std::size_t>(std::popcount(word));
    for (std::size_t k = 0; k < count; k += kAtOnce) {
        for (std::size_t j = 0; j < kAtOnce; ++j) {
            places[k + j] = from + static_cast<std::size_t>(std::countr_zero(word));
            word &= word - 1;
        }
    }
    return count;
}

void FindMaxima(const float* data, unsigned int length, unsigned int* indices, float* values,
                unsigned int& count, float threshold) {
    std::size_t places[kWord];
    const auto append = [&](std::size_t from, std::uint64_t word) HWY_ATTR {
        const std::size_t found = StorePlaces(word, from, places);
        for (std::size_t k = 0; k < found; ++k) {
            indices[count + k] = static_cast<unsigned int>(places[k]);
            values[count + k] = data[places[k]];
        }
        count += static_cast<unsigned int>(found);
    };
    const std::size_t end = length > 0 ? length - std::size_t{1} : 0;
    std::size_t i = 1;
    for (; i + kWord <= end; i += kWord) {
        append(i, WordOfMaxima(data, i, kWord, threshold));
    }
    if (i < end) {
        append(i, WordOfMaxima(data, i, end - i, threshold));
    }
}

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::core {

HWY_EXPORT(FindMaxima);

void FindLocalMaxima(const float* data, unsigned int length, unsigned int* indices, float* values,
                     unsigned int& count, float threshold) {
    HWY_DYNAMIC_DISPATCH(FindMaxima)(data, length, indices, values, count, threshold);
}

} // namespace qel::core

#endif
