#include "platform/containers/CFNumber.h"

#include "platform/containers/HashMix.h"

#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

namespace qel::platform {
namespace {

// 2 to the 63rd: the smallest double above every 64-bit integer.
constexpr double kInt64End = 9223372036854775808.0;

template <typename T>
constexpr CFNumberType IntegerType() {
    switch (sizeof(T)) {
    case 1:
        return kCFNumberSInt8Type;
    case 2:
        return kCFNumberSInt16Type;
    case 4:
        return kCFNumberSInt32Type;
    default:
        return kCFNumberSInt64Type;
    }
}

template <typename T>
T Load(const void* value) {
    T result;
    std::memcpy(&result, value, sizeof result);
    return result;
}

template <typename T>
int Order(T first, T second) {
    return first < second ? -1 : (first > second ? 1 : 0);
}

int OrderOfDoubles(double first, double second) {
    if (std::isnan(first) || std::isnan(second)) {
        return Order(!std::isnan(first), !std::isnan(second));
    }
    return Order(first, second);
}

// Exact, where converting the integer to a double would round.
int OrderOfMixed(std::int64_t first, double second) {
    if (std::isnan(second) || second < -kInt64End) {
        return 1;
    }
    if (second >= kInt64End) {
        return -1;
    }
    const double whole = std::trunc(second);
    const int order = Order(first, static_cast<std::int64_t>(whole));
    return order != 0 ? order : Order(whole, second);
}

template <typename T>
std::string Shortest(T value) {
    // Enough for the shortest text that gives back any double: 24 characters.
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, value);
    return std::string(text, end.ptr);
}

} // namespace

CFNumberType FixedNumberType(CFNumberType type) noexcept {
    switch (type) {
    case kCFNumberSInt8Type:
    case kCFNumberSInt16Type:
    case kCFNumberSInt32Type:
    case kCFNumberSInt64Type:
    case kCFNumberFloat32Type:
    case kCFNumberFloat64Type:
        return type;
    case kCFNumberCharType:
        return IntegerType<char>();
    case kCFNumberShortType:
        return IntegerType<short>();
    case kCFNumberIntType:
        return IntegerType<int>();
    case kCFNumberLongType:
    case kCFNumberNSIntegerType:
        return IntegerType<long>();
    case kCFNumberLongLongType:
        return IntegerType<long long>();
    case kCFNumberCFIndexType:
        return IntegerType<CFIndex>();
    case kCFNumberFloatType:
        return kCFNumberFloat32Type;
    case kCFNumberDoubleType:
    case kCFNumberCGFloatType:
        return kCFNumberFloat64Type;
    default:
        return 0;
    }
}

std::unique_ptr<const CFNumber> CFNumber::Create(CFNumberType type, const void* value) {
    const CFNumberType fixed = FixedNumberType(type);
    switch (fixed) {
    case kCFNumberSInt8Type:
        return std::make_unique<const CFNumber>(fixed, std::int64_t{Load<std::int8_t>(value)});
    case kCFNumberSInt16Type:
        return std::make_unique<const CFNumber>(fixed, std::int64_t{Load<std::int16_t>(value)});
    case kCFNumberSInt32Type:
        return std::make_unique<const CFNumber>(fixed, std::int64_t{Load<std::int32_t>(value)});
    case kCFNumberSInt64Type:
        return std::make_unique<const CFNumber>(fixed, Load<std::int64_t>(value));
    case kCFNumberFloat32Type:
        return std::make_unique<const CFNumber>(fixed, double{Load<float>(value)});
    case kCFNumberFloat64Type:
        return std::make_unique<const CFNumber>(fixed, Load<double>(value));
    default:
        return nullptr;
    }
}

bool CFNumber::Get(CFNumberType type, void* value) const noexcept {
    switch (FixedNumberType(type)) {
    case kCFNumberSInt8Type:
        return GetInteger<std::int8_t>(value);
    case kCFNumberSInt16Type:
        return GetInteger<std::int16_t>(value);
    case kCFNumberSInt32Type:
        return GetInteger<std::int32_t>(value);
    case kCFNumberSInt64Type:
        return GetInteger<std::int64_t>(value);
    case kCFNumberFloat32Type:
        return GetFloat32(value);
    case kCFNumberFloat64Type:
        return GetFloat64(value);
    default:
        return false;
    }
}

template <typename T>
bool CFNumber::GetInteger(void* value) const noexcept {
    constexpr T kLowest = std::numeric_limits<T>::min();
    constexpr T kHighest = std::numeric_limits<T>::max();
    T result = 0;
    bool exact = false;
    if (IsFloat()) {
        // Minus the lowest is the power of two above the highest, which a double holds exactly.
        constexpr double kEnd = -static_cast<double>(kLowest);
        const double whole = std::trunc(mFloat);
        if (whole >= kEnd) {
            result = kHighest;
        } else if (whole < -kEnd) {
            result = kLowest;
        } else if (!std::isnan(whole)) {
            result = static_cast<T>(whole);
            exact = whole == mFloat;
        }
    } else if (mInteger > kHighest) {
        result = kHighest;
    } else if (mInteger < kLowest) {
        result = kLowest;
    } else {
        result = static_cast<T>(mInteger);
        exact = true;
    }
    std::memcpy(value, &result, sizeof result);
    return exact;
}

bool CFNumber::GetFloat32(void* value) const noexcept {
    constexpr double kHighest = std::numeric_limits<float>::max();
    float result = 0;
    if (!IsFloat()) {
        result = static_cast<float>(mInteger);
    } else if (std::isfinite(mFloat) && std::abs(mFloat) > kHighest) {
        result = static_cast<float>(std::copysign(kHighest, mFloat));
    } else {
        result = static_cast<float>(mFloat);
    }
    std::memcpy(value, &result, sizeof result);
    return IsFloat() ? OrderOfDoubles(mFloat, double{result}) == 0
                     : OrderOfMixed(mInteger, double{result}) == 0;
}

bool CFNumber::GetFloat64(void* value) const noexcept {
    const double result = IsFloat() ? mFloat : static_cast<double>(mInteger);
    std::memcpy(value, &result, sizeof result);
    return IsFloat() || OrderOfMixed(mInteger, result) == 0;
}

int CFNumber::Compare(const CFNumber& other) const noexcept {
    if (IsFloat()) {
        return other.IsFloat() ? OrderOfDoubles(mFloat, other.mFloat)
                               : -OrderOfMixed(other.mInteger, mFloat);
    }
    return other.IsFloat() ? OrderOfMixed(mInteger, other.mFloat) : Order(mInteger, other.mInteger);
}

bool CFNumber::Equals(const CFObject& other) const {
    return Compare(static_cast<const CFNumber&>(other)) == 0;
}

CFHashCode CFNumber::Hash() const {
    std::int64_t whole = 0;
    if (GetInteger<std::int64_t>(&whole)) {
        return HashMix(static_cast<std::uint64_t>(whole));
    }
    // Here the number is a double. Every not-a-number is equal, whatever its bits.
    const double value = std::isnan(mFloat) ? std::numeric_limits<double>::quiet_NaN() : mFloat;
    return HashMix(std::bit_cast<std::uint64_t>(value));
}

std::string CFNumber::Describe() const {
    if (!IsFloat()) {
        return std::to_string(mInteger);
    }
    if (std::isnan(mFloat)) {
        return "nan";
    }
    return mNumberType == kCFNumberFloat32Type ? Shortest(static_cast<float>(mFloat))
                                               : Shortest(mFloat);
}

namespace {

using Limits = std::numeric_limits<double>;
constinit const CFNumber kPositiveInfinity(kCFNumberFloat64Type, Limits::infinity(),
                                           Lifetime::kImmortal);
constinit const CFNumber kNegativeInfinity(kCFNumberFloat64Type, -Limits::infinity(),
                                           Lifetime::kImmortal);
constinit const CFNumber kNotANumber(kCFNumberFloat64Type, Limits::quiet_NaN(),
                                     Lifetime::kImmortal);

} // namespace
} // namespace qel::platform

// Bare casts, which need no code at start.
const CFNumberRef kCFNumberPositiveInfinity =
    reinterpret_cast<CFNumberRef>(&qel::platform::kPositiveInfinity);
const CFNumberRef kCFNumberNegativeInfinity =
    reinterpret_cast<CFNumberRef>(&qel::platform::kNegativeInfinity);
const CFNumberRef kCFNumberNaN = reinterpret_cast<CFNumberRef>(&qel::platform::kNotANumber);
