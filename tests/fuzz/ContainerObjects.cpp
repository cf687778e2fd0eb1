#include "tests/fuzz/ContainerObjects.h"

#include "tests/fuzz/Require.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

namespace qel::fuzz {
namespace {

using IndexLimits = std::numeric_limits<CFIndex>;
static_assert(std::numeric_limits<long double>::digits >= 64, "a 64-bit integer fits");

template <typename T>
void CheckInteger(CFNumberRef number, CFNumberType type) {
    const long double value = ValueOf(number);
    const auto low = static_cast<long double>(std::numeric_limits<T>::min());
    const auto high = static_cast<long double>(std::numeric_limits<T>::max());
    const long double near = std::isnan(value) ? 0 : std::clamp(std::trunc(value), low, high);
    const std::unique_ptr<T> read(new T(1));
    const bool exact = CFNumberGetValue(number, type, read.get());
    Require(static_cast<long double>(*read) == near, "the nearest integer inwards is read");
    Require(exact == (near == value), "it is called exact when it is");
}

template <typename T>
void CheckFloat(CFNumberRef number, CFNumberType type) {
    const long double value = ValueOf(number);
    const long double high = std::numeric_limits<T>::max();
    const bool moved = std::isfinite(value) && std::abs(value) > high;
    const T near = static_cast<T>(moved ? std::copysign(high, value) : value);
    const std::unique_ptr<T> read(new T(1));
    const bool exact = CFNumberGetValue(number, type, read.get());
    if (std::isnan(value)) {
        Require(exact && std::isnan(*read), "not-a-number stays one");
    } else {
        Require(*read == near && std::signbit(*read) == std::signbit(near),
                "the nearest floating-point value is read");
        Require(exact == (static_cast<long double>(near) == value),
                "it is called exact when it is");
    }
}

void CheckNumber(CFNumberRef number) {
    CheckInteger<std::int8_t>(number, kCFNumberSInt8Type);
    CheckInteger<std::int16_t>(number, kCFNumberSInt16Type);
    CheckInteger<std::int32_t>(number, kCFNumberSInt32Type);
    CheckInteger<std::int64_t>(number, kCFNumberSInt64Type);
    CheckInteger<char>(number, kCFNumberCharType);
    CheckInteger<short>(number, kCFNumberShortType);
    CheckInteger<int>(number, kCFNumberIntType);
    CheckInteger<long>(number, kCFNumberLongType);
    CheckInteger<long long>(number, kCFNumberLongLongType);
    CheckInteger<CFIndex>(number, kCFNumberCFIndexType);
    CheckInteger<long>(number, kCFNumberNSIntegerType);
    CheckFloat<float>(number, kCFNumberFloat32Type);
    CheckFloat<float>(number, kCFNumberFloatType);
    CheckFloat<double>(number, kCFNumberFloat64Type);
    CheckFloat<double>(number, kCFNumberDoubleType);
    CheckFloat<double>(number, kCFNumberCGFloatType);
    char untouched = '!';
    for (const CFNumberType unknown : {CFNumberType{0}, CFNumberType{17}, CFNumberType{-1}}) {
        Require(!CFNumberGetValue(number, unknown, &untouched) && untouched == '!',
                "an unknown type has no value");
    }
    Require(!CFNumberGetValue(number, kCFNumberIntType, nullptr), "nowhere to write is no value");
}

} // namespace

CFNumberRef MakeNumber(ByteProgram& program) {
    // The bytes of each type; none for 0 and 17, which are no types.
    constexpr std::size_t kSizes[] = {0, 1, 2, 4, 8, 4, 8, 1, 2, 4, 8, 8, 4, 8, 8, 8, 8, 0};
    // The numbers at which conversions and comparisons turn.
    constexpr double kTurns[] = {0,
                                 -0.0,
                                 0.5,
                                 -0.5,
                                 127,
                                 127.5,
                                 -128.5,
                                 9007199254740992.0,
                                 9223372036854774784.0,
                                 9223372036854775808.0,
                                 -9223372036854775808.0,
                                 3.4028235677973366e38, // halfway from the largest float upwards
                                 1e-320,
                                 1e300,
                                 std::numeric_limits<double>::infinity(),
                                 -std::numeric_limits<double>::infinity(),
                                 std::numeric_limits<double>::quiet_NaN()};
    constexpr std::int64_t kWholeTurns[] = {
        0, 1, -1, 127, -128, 9007199254740993, IndexLimits::max(), IndexLimits::min()};
    auto type = static_cast<CFNumberType>(program.Below(std::size(kSizes)));
    std::uint64_t bits = 0;
    switch (program.Below(3)) {
    case 0:
        type = kCFNumberFloat64Type;
        bits = std::bit_cast<std::uint64_t>(program.OneOf(kTurns));
        break;
    case 1:
        type = kCFNumberSInt64Type;
        bits = static_cast<std::uint64_t>(program.OneOf(kWholeTurns));
        break;
    default:
        bits = program.Quad();
        break;
    }
    const std::size_t size = kSizes[type];
    const std::unique_ptr<UInt8[]> value(new UInt8[std::max<std::size_t>(size, 1)]);
    std::memcpy(value.get(), &bits, size);
    const CFNumberRef number = CFNumberCreate(nullptr, type, value.get());
    Require((number != nullptr) == (size != 0), "known types make a number");
    if (number != nullptr) {
        Require(CFNumberGetByteSize(number) == static_cast<CFIndex>(size),
                "a number has the size of its type");
        CheckNumber(number);
    }
    return number;
}

CFDataRef MakeData(ByteProgram& program) {
    std::vector<UInt8> bytes(program.Below(48));
    std::generate(bytes.begin(), bytes.end(), [&program] { return program.Byte(); });
    const auto count = static_cast<CFIndex>(bytes.size());
    const CFDataRef data = CFDataCreate(nullptr, bytes.data(), count);
    Require(data != nullptr && CFDataGetLength(data) == count, "data has its length");
    Require(CFDataGetBytePtr(data) != nullptr &&
                std::equal(bytes.begin(), bytes.end(), CFDataGetBytePtr(data)),
            "data has its bytes");
    const CFRange range = AnyRange(program, count);
    const bool within = range.location >= 0 && range.length >= 0 && range.location <= count &&
                        range.length <= count - range.location;
    std::vector<UInt8> part(within ? static_cast<std::size_t>(range.length) : 1, 0xA5);
    CFDataGetBytes(data, range, part.data());
    if (within) {
        Require(std::equal(part.begin(), part.end(), bytes.begin() + range.location),
                "a range of data has its bytes");
    } else {
        Require(part[0] == 0xA5, "a range that is not in the data writes nothing");
    }
    return data;
}

CFUUIDRef MakeUUID(ByteProgram& program) {
    CFUUIDBytes bytes{};
    UInt8 raw[sizeof bytes];
    std::generate(std::begin(raw), std::end(raw), [&program] { return program.Byte(); });
    std::memcpy(&bytes, raw, sizeof bytes);
    const CFUUIDRef uuid = CFUUIDCreateFromUUIDBytes(nullptr, bytes);
    const CFUUIDBytes read = CFUUIDGetUUIDBytes(uuid);
    Require(uuid != nullptr && std::memcmp(&read, raw, sizeof raw) == 0, "an id has its bytes");
    const CFStringRef text = CFUUIDCreateString(nullptr, uuid);
    std::string digits = CFStringGetCStringPtr(text, kCFStringEncodingASCII);
    CFRelease(text);
    Require(digits.size() == 36 && std::erase(digits, '-') == 4, "an id has 32 digits in groups");
    for (std::size_t i = 0; i < sizeof raw; ++i) {
        Require(std::stoi(digits.substr(2 * i, 2), nullptr, 16) == raw[i], "two digits are a byte");
    }
    return uuid;
}

CFURLRef MakeURL(CFTypeRef text, CFTypeRef base) {
    const auto string = static_cast<CFStringRef>(text);
    const bool usable = CFGetTypeID(text) == CFStringGetTypeID() && CFStringGetLength(string) > 0 &&
                        (base == nullptr || CFGetTypeID(base) == CFURLGetTypeID());
    const CFURLRef url = CFURLCreateWithString(nullptr, string, static_cast<CFURLRef>(base));
    Require((url != nullptr) == usable, "a location is made of a text and a location");
    Require(!usable || (CFURLGetString(url) == text && CFURLGetBaseURL(url) == base),
            "a location has what it was made from");
    return url;
}

long double ValueOf(CFNumberRef number) {
    if (CFNumberIsFloatType(number)) {
        double value = 0;
        CFNumberGetValue(number, kCFNumberFloat64Type, &value);
        return value;
    }
    std::int64_t value = 0;
    CFNumberGetValue(number, kCFNumberSInt64Type, &value);
    return static_cast<long double>(value);
}

CFIndex AnyIndex(ByteProgram& program, CFIndex count) {
    constexpr CFIndex kExtremes[] = {IndexLimits::min(), IndexLimits::min() + 1, -1,
                                     IndexLimits::max() - 1, IndexLimits::max()};
    if (program.Seldom(8)) {
        return program.OneOf(kExtremes);
    }
    return static_cast<CFIndex>(program.Below(static_cast<std::uint32_t>(count) + 3)) - 1;
}

CFRange AnyRange(ByteProgram& program, CFIndex count) {
    const CFIndex location = AnyIndex(program, count);
    return CFRangeMake(location, AnyIndex(program, count));
}

void CheckOtherTypes(CFTypeRef object) {
    const CFTypeID type = CFGetTypeID(object);
    char buffer[8] = "!";
    if (type != CFStringGetTypeID()) {
        const auto string = static_cast<CFStringRef>(object);
        Require(CFStringGetLength(string) == 0 && CFStringGetCharacterAtIndex(string, 0) == 0 &&
                    CFStringGetCStringPtr(string, kCFStringEncodingUTF8) == nullptr &&
                    !CFStringGetCString(string, buffer, sizeof buffer, kCFStringEncodingUTF8) &&
                    buffer[0] == 0 && !CFStringHasPrefix(string, CFSTR("")) &&
                    CFStringCompare(string, CFSTR(""), 0) == kCFCompareLessThan &&
                    CFStringCreateCopy(nullptr, string) == nullptr,
                "what is no string answers as none");
    }
    if (type != CFNumberGetTypeID()) {
        const auto number = static_cast<CFNumberRef>(object);
        Require(CFNumberGetType(number) == 0 && CFNumberGetByteSize(number) == 0 &&
                    !CFNumberIsFloatType(number) &&
                    !CFNumberGetValue(number, kCFNumberSInt8Type, buffer) &&
                    CFNumberCompare(number, kCFNumberNaN, nullptr) == kCFCompareLessThan,
                "what is no number answers as none");
    }
    if (type != CFDataGetTypeID()) {
        const auto data = static_cast<CFDataRef>(object);
        Require(CFDataGetLength(data) == 0 && CFDataGetBytePtr(data) == nullptr,
                "what is no data answers as none");
    }
    if (type != CFArrayGetTypeID()) {
        const auto array = static_cast<CFArrayRef>(object);
        Require(CFArrayGetCount(array) == 0 && CFArrayGetValueAtIndex(array, 0) == nullptr &&
                    !CFArrayContainsValue(array, CFRangeMake(0, 1), object) &&
                    CFArrayCreateCopy(nullptr, array) == nullptr,
                "what is no array answers as none");
    }
    if (type != CFDictionaryGetTypeID()) {
        const auto dictionary = static_cast<CFDictionaryRef>(object);
        Require(CFDictionaryGetCount(dictionary) == 0 &&
                    CFDictionaryGetValue(dictionary, object) == nullptr &&
                    CFDictionaryCreateCopy(nullptr, dictionary) == nullptr,
                "what is no dictionary answers as none");
    }
    Require(type == CFURLGetTypeID() || CFURLGetString(static_cast<CFURLRef>(object)) == nullptr,
            "what is no location answers as none");
    Require(type == CFUUIDGetTypeID() ||
                CFUUIDCreateString(nullptr, static_cast<CFUUIDRef>(object)) == nullptr,
            "what is no id answers as none");
    Require(type == CFBooleanGetTypeID() || !CFBooleanGetValue(static_cast<CFBooleanRef>(object)),
            "what is no truth value answers as none");
}

} // namespace qel::fuzz
