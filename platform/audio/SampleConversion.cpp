#include "platform/audio/SampleConversion.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>

namespace qel::platform {

namespace {

// Rounding doubles beyond every float to infinity is defined for this arithmetic only.
static_assert(std::numeric_limits<float>::is_iec559 && std::numeric_limits<double>::is_iec559);

using IntegerPlace = SampleConversion::IntegerPlace;

template <typename T>
T LoadNative(const std::byte* from) noexcept {
    T value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

constexpr std::uint16_t Reversed(std::uint16_t value) {
    return static_cast<std::uint16_t>(value << 8 | value >> 8);
}

// Halves and then bytes of halves change places.
constexpr std::uint32_t Reversed(std::uint32_t value) {
    value = value << 16 | value >> 16;
    return (value & 0x00FF00FFu) << 8 | (value >> 8 & 0x00FF00FFu);
}

constexpr std::uint64_t Reversed(std::uint64_t value) {
    return std::uint64_t{Reversed(static_cast<std::uint32_t>(value))} << 32 |
           Reversed(static_cast<std::uint32_t>(value >> 32));
}

template <typename T, std::endian kOrder>
T Load(const std::byte* from) noexcept {
    const T value = LoadNative<T>(from);
    if constexpr (kOrder == std::endian::native) {
        return value;
    } else {
        return Reversed(value);
    }
}

template <typename T, std::endian kOrder>
struct IntegerReader {
    static constexpr std::size_t kBytes = sizeof(T);
    static std::uint32_t Read(const std::byte* from) noexcept { return Load<T, kOrder>(from); }
};

template <std::endian kOrder>
struct ThreeByteReader {
    static constexpr std::size_t kBytes = 3;
    static std::uint32_t Read(const std::byte* from) noexcept {
        constexpr bool kIsBig = kOrder == std::endian::big;
        return std::to_integer<std::uint32_t>(from[kIsBig ? 2 : 0]) |
               std::to_integer<std::uint32_t>(from[1]) << 8 |
               std::to_integer<std::uint32_t>(from[kIsBig ? 0 : 2]) << 16;
    }
};

template <typename Reader>
struct Integer {
    static constexpr std::size_t kBytes = Reader::kBytes;
    static float Value(const std::byte* from, const IntegerPlace& place) noexcept {
        const std::uint32_t bits =
            ((Reader::Read(from) << place.leftShift) & place.mask) ^ place.signFlip;
        return static_cast<float>(static_cast<std::int32_t>(bits)) * 0x1p-31f;
    }
};

// Moved as bits: a conversion of a number to itself changes no payload of a NaN and no denormal,
// whatever mode the processor is in.
template <std::endian kOrder>
struct Single {
    static constexpr std::size_t kBytes = sizeof(float);
    static std::uint32_t Value(const std::byte* from, const IntegerPlace&) noexcept {
        return Load<std::uint32_t, kOrder>(from);
    }
};

template <std::endian kOrder>
struct Double {
    static constexpr std::size_t kBytes = sizeof(double);
    static float Value(const std::byte* from, const IntegerPlace&) noexcept {
        return static_cast<float>(std::bit_cast<double>(Load<std::uint64_t, kOrder>(from)));
    }
};

template <typename Sample>
void ConvertRun(const IntegerPlace& givenPlace, const SampleRun& run) noexcept {
    const IntegerPlace place = givenPlace; // no store can be thought to change it
    const std::byte* const source = run.source;
    std::byte* const destination = run.destination;
    const std::size_t count = run.count;
    const auto convert = [&](std::size_t sourceBytes, std::size_t destinationBytes) {
        for (std::size_t i = 0; i < count; ++i) {
            const auto value = Sample::Value(source + i * sourceBytes, place);
            static_assert(sizeof value == sizeof(float));
            std::memcpy(destination + i * destinationBytes, &value, sizeof value);
        }
    };
    if (run.sourceStrideBytes == Sample::kBytes && run.destinationStrideBytes == sizeof(float)) {
        convert(Sample::kBytes, sizeof(float)); // strides known to the compiler: vectors
    } else {
        convert(run.sourceStrideBytes, run.destinationStrideBytes);
    }
}

} // namespace

SampleConversion::SampleConversion(const SampleLayout& layout) noexcept
    : mPlace(PlaceOf(layout)), mConvert(ConvertOf(layout)) {}

SampleConversion::IntegerPlace SampleConversion::PlaceOf(const SampleLayout& layout) noexcept {
    if (layout.isFloat) {
        return {0, 0, 0};
    }
    const UInt32 containerBits = 8 * static_cast<UInt32>(layout.containerBytes);
    return {32 - (layout.isAlignedHigh ? containerBits : layout.bits),
            ~UInt32{0} << (32 - layout.bits), layout.isSigned ? UInt32{0} : UInt32{1} << 31};
}

SampleConversion::Convert SampleConversion::ConvertOf(const SampleLayout& layout) noexcept {
    constexpr std::endian kBig = std::endian::big;
    constexpr std::endian kLittle = std::endian::little;
    const bool isBig = layout.isBigEndian;
    if (layout.isFloat && layout.bits == 64) {
        return isBig ? ConvertRun<Double<kBig>> : ConvertRun<Double<kLittle>>;
    }
    if (layout.isFloat) {
        return isBig ? ConvertRun<Single<kBig>> : ConvertRun<Single<kLittle>>;
    }
    switch (layout.containerBytes) {
    case 1:
        return ConvertRun<Integer<IntegerReader<std::uint8_t, kLittle>>>;
    case 2:
        return isBig ? ConvertRun<Integer<IntegerReader<std::uint16_t, kBig>>>
                     : ConvertRun<Integer<IntegerReader<std::uint16_t, kLittle>>>;
    case 3:
        return isBig ? ConvertRun<Integer<ThreeByteReader<kBig>>>
                     : ConvertRun<Integer<ThreeByteReader<kLittle>>>;
    default:
        return isBig ? ConvertRun<Integer<IntegerReader<std::uint32_t, kBig>>>
                     : ConvertRun<Integer<IntegerReader<std::uint32_t, kLittle>>>;
    }
}

} // namespace qel::platform
