#include "ContainerObjects.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <type_traits>
#include <utility>
#include <vector>

namespace qel::platform {
namespace {

template <typename T>
CFOwner<CFNumberRef> Make(CFNumberType type, T value) {
    return CFOwner(CFNumberCreate(kCFAllocatorDefault, type, &value));
}

// What CFNumberGetValue answers and writes.
template <typename T>
struct Reading {
    bool isExact;
    T value;
    bool operator==(const Reading&) const = default;
};

template <typename T>
Reading<T> Read(CFNumberRef number, CFNumberType type) {
    T value = 42;
    const bool isExact = CFNumberGetValue(number, type, &value);
    return {isExact, value};
}

template <typename T>
void ExpectRoundTrip(CFNumberType type, CFNumberType fixedType) {
    using Limits = std::numeric_limits<T>;
    for (const T value : {Limits::lowest(), Limits::max(), T{0}, T{1}, Limits::min()}) {
        const auto number = Make(type, value);
        EXPECT_EQ(CFNumberGetType(number), fixedType);
        EXPECT_EQ(CFNumberGetByteSize(number), static_cast<CFIndex>(sizeof(T)));
        EXPECT_EQ(CFNumberIsFloatType(number), std::is_floating_point_v<T>);
        EXPECT_EQ(Read<T>(number, type), (Reading<T>{true, value}));
    }
}

TEST(CFNumberTest, EveryTypeGivesBackWhatItWasMadeOf) {
    ExpectRoundTrip<SInt8>(kCFNumberSInt8Type, kCFNumberSInt8Type);
    ExpectRoundTrip<SInt16>(kCFNumberSInt16Type, kCFNumberSInt16Type);
    ExpectRoundTrip<SInt32>(kCFNumberSInt32Type, kCFNumberSInt32Type);
    ExpectRoundTrip<SInt64>(kCFNumberSInt64Type, kCFNumberSInt64Type);
    ExpectRoundTrip<Float32>(kCFNumberFloat32Type, kCFNumberFloat32Type);
    ExpectRoundTrip<Float64>(kCFNumberFloat64Type, kCFNumberFloat64Type);
    ExpectRoundTrip<signed char>(kCFNumberCharType, kCFNumberSInt8Type);
    ExpectRoundTrip<short>(kCFNumberShortType, kCFNumberSInt16Type);
    ExpectRoundTrip<int>(kCFNumberIntType, kCFNumberSInt32Type);
    ExpectRoundTrip<long>(kCFNumberLongType, kCFNumberSInt64Type);
    ExpectRoundTrip<long long>(kCFNumberLongLongType, kCFNumberSInt64Type);
    ExpectRoundTrip<float>(kCFNumberFloatType, kCFNumberFloat32Type);
    ExpectRoundTrip<double>(kCFNumberDoubleType, kCFNumberFloat64Type);
    ExpectRoundTrip<CFIndex>(kCFNumberCFIndexType, kCFNumberSInt64Type);
    ExpectRoundTrip<long>(kCFNumberNSIntegerType, kCFNumberSInt64Type);
    ExpectRoundTrip<double>(kCFNumberCGFloatType, kCFNumberFloat64Type);
}

TEST(CFNumberTest, TypeCodesAreThePublishedOnes) {
    EXPECT_EQ(kCFNumberSInt8Type, 1);
    EXPECT_EQ(kCFNumberFloat32Type, 5);
    EXPECT_EQ(kCFNumberFloat64Type, 6);
    EXPECT_EQ(kCFNumberCharType, 7);
    EXPECT_EQ(kCFNumberDoubleType, 13);
    EXPECT_EQ(kCFNumberMaxType, 16);
}

TEST(CFNumberTest, UnknownTypesAndNullGiveNothing) {
    const double value = 1.0;
    EXPECT_EQ(CFNumberCreate(nullptr, 0, &value), nullptr);
    EXPECT_EQ(CFNumberCreate(nullptr, 17, &value), nullptr);
    EXPECT_EQ(CFNumberCreate(nullptr, -1, &value), nullptr);
    EXPECT_EQ(CFNumberCreate(nullptr, kCFNumberFloat64Type, nullptr), nullptr);
    EXPECT_EQ(Read<double>(MakeNumber(1.0), 17), (Reading<double>{false, 42}));
    EXPECT_EQ(Read<double>(nullptr, kCFNumberFloat64Type), (Reading<double>{false, 42}));
    EXPECT_FALSE(CFNumberGetValue(MakeNumber(1.0), kCFNumberFloat64Type, nullptr));
    EXPECT_EQ(CFNumberGetType(nullptr), 0);
    EXPECT_EQ(CFNumberGetByteSize(nullptr), 0);
    EXPECT_FALSE(CFNumberIsFloatType(nullptr));
}

TEST(CFNumberTest, IntegersThatDoNotFitMoveToTheEndOfTheRange) {
    const auto read8 = [](SInt64 value) {
        return Read<SInt8>(MakeNumber(value), kCFNumberSInt8Type);
    };
    EXPECT_EQ(read8(127), (Reading<SInt8>{true, 127}));
    EXPECT_EQ(read8(128), (Reading<SInt8>{false, 127}));
    EXPECT_EQ(read8(-128), (Reading<SInt8>{true, -128}));
    EXPECT_EQ(read8(-129), (Reading<SInt8>{false, -128}));
    EXPECT_EQ(Read<SInt32>(MakeNumber(SInt64{1} << 40), kCFNumberIntType),
              (Reading<SInt32>{false, std::numeric_limits<SInt32>::max()}));
}

TEST(CFNumberTest, FractionsAreCutOffAndReportedAsLost) {
    const auto read = [](double value) {
        return Read<SInt32>(MakeNumber(value), kCFNumberIntType);
    };
    EXPECT_EQ(read(3.0), (Reading<SInt32>{true, 3}));
    EXPECT_EQ(read(3.9), (Reading<SInt32>{false, 3}));
    EXPECT_EQ(read(-3.9), (Reading<SInt32>{false, -3}));
    EXPECT_EQ(read(-0.0), (Reading<SInt32>{true, 0}));
    EXPECT_EQ(read(2147483647.0), (Reading<SInt32>{true, 2147483647}));
    EXPECT_EQ(read(2147483647.5), (Reading<SInt32>{false, 2147483647}));
    EXPECT_EQ(read(2147483648.0), (Reading<SInt32>{false, 2147483647}));
    EXPECT_EQ(read(-2147483648.5), (Reading<SInt32>{false, -2147483647 - 1}));
    EXPECT_EQ(read(1e300), (Reading<SInt32>{false, 2147483647}));
    EXPECT_EQ(read(-INFINITY), (Reading<SInt32>{false, -2147483647 - 1}));
    EXPECT_EQ(read(NAN), (Reading<SInt32>{false, 0}));
}

TEST(CFNumberTest, TheEndsOf64BitsAreNotRoundedAway) {
    constexpr SInt64 kMax = std::numeric_limits<SInt64>::max();
    constexpr SInt64 kMin = std::numeric_limits<SInt64>::min();
    const double above = std::ldexp(1.0, 63);
    EXPECT_EQ(Read<SInt64>(MakeNumber(above), kCFNumberSInt64Type), (Reading<SInt64>{false, kMax}));
    EXPECT_EQ(Read<SInt64>(MakeNumber(-above), kCFNumberSInt64Type), (Reading<SInt64>{true, kMin}));
    EXPECT_EQ(Read<double>(MakeNumber(kMax), kCFNumberFloat64Type),
              (Reading<double>{false, above}));
    EXPECT_EQ(Read<double>(MakeNumber(kMin), kCFNumberFloat64Type),
              (Reading<double>{true, -above}));
    EXPECT_FALSE(CFEqual(MakeNumber(kMax), MakeNumber(above)));
    EXPECT_TRUE(CFEqual(MakeNumber(kMin), MakeNumber(-above)));
}

TEST(CFNumberTest, RoundingToSinglePrecisionIsReportedAsLost) {
    const auto read = [](double value) {
        return Read<float>(MakeNumber(value), kCFNumberFloat32Type);
    };
    EXPECT_EQ(read(0.5), (Reading<float>{true, 0.5f}));
    EXPECT_EQ(read(0.1), (Reading<float>{false, 0.1f}));
    EXPECT_EQ(read(1e300), (Reading<float>{false, std::numeric_limits<float>::max()}));
    EXPECT_EQ(read(-1e300), (Reading<float>{false, std::numeric_limits<float>::lowest()}));
    EXPECT_EQ(read(INFINITY), (Reading<float>{true, INFINITY}));
    const auto ofNaN = read(NAN);
    EXPECT_TRUE(ofNaN.isExact);
    EXPECT_TRUE(std::isnan(ofNaN.value));
    // 2 to the 24th plus 1 is the first integer that a float lacks.
    EXPECT_EQ(Read<float>(MakeNumber(SInt64{16777217}), kCFNumberFloatType),
              (Reading<float>{false, 16777216.0f}));
    EXPECT_EQ(Read<float>(MakeNumber(SInt64{16777216}), kCFNumberFloatType),
              (Reading<float>{true, 16777216.0f}));
}

// Numbers in strictly rising order; those of one row are equal. Every pair is tried both ways.
TEST(CFNumberTest, OrderEqualityAndHashGoByTheExactValue) {
    std::vector<std::vector<CFOwner<CFNumberRef>>> rows;
    const auto addRow = [&rows](auto... numbers) {
        rows.emplace_back();
        (rows.back().push_back(std::move(numbers)), ...);
    };
    const SInt64 big = (SInt64{1} << 53) + 1; // the first integer that a double lacks
    addRow(MakeNumber(NAN), MakeNumber(-NAN), Make(kCFNumberFloat32Type, NAN));
    addRow(MakeNumber(-INFINITY), Make(kCFNumberFloat32Type, -INFINITY));
    addRow(MakeNumber(-1e300));
    addRow(MakeNumber(SInt64{-129}), Make(kCFNumberSInt16Type, SInt16{-129}), MakeNumber(-129.0));
    addRow(MakeNumber(-0.5), Make(kCFNumberFloat32Type, -0.5f));
    addRow(MakeNumber(0.0), MakeNumber(-0.0), MakeNumber(SInt64{0}),
           Make(kCFNumberSInt8Type, SInt8{0}), Make(kCFNumberFloat32Type, -0.0f));
    addRow(MakeNumber(0.1));
    addRow(Make(kCFNumberFloat32Type, 0.1f), MakeNumber(double{0.1f}));
    addRow(MakeNumber(1.0), MakeNumber(SInt64{1}), Make(kCFNumberCharType, SInt8{1}),
           Make(kCFNumberFloat32Type, 1.0f), Make(kCFNumberIntType, 1));
    addRow(MakeNumber(1.5));
    addRow(MakeNumber(SInt64{2}));
    addRow(MakeNumber(big - 1), MakeNumber(std::ldexp(1.0, 53)));
    addRow(MakeNumber(big));
    addRow(MakeNumber(big + 1), MakeNumber(std::ldexp(1.0, 53) + 2.0));
    addRow(MakeNumber(std::numeric_limits<SInt64>::max()));
    addRow(MakeNumber(std::ldexp(1.0, 63)));
    addRow(MakeNumber(INFINITY));
    for (std::size_t i = 0; i < rows.size(); ++i) {
        for (std::size_t j = 0; j < rows.size(); ++j) {
            const CFComparisonResult expected =
                i < j ? kCFCompareLessThan : (i > j ? kCFCompareGreaterThan : kCFCompareEqualTo);
            for (const auto& first : rows[i]) {
                for (const auto& second : rows[j]) {
                    EXPECT_EQ(CFNumberCompare(first, second, nullptr), expected) << i << ' ' << j;
                    EXPECT_EQ(CFEqual(first, second), i == j) << i << ' ' << j;
                    EXPECT_EQ(CFHash(first) == CFHash(second), i == j) << i << ' ' << j;
                }
            }
        }
    }
}

TEST(CFNumberTest, WhatIsNoNumberComesFirst) {
    EXPECT_EQ(CFNumberCompare(nullptr, kCFNumberNaN, nullptr), kCFCompareLessThan);
    EXPECT_EQ(CFNumberCompare(kCFNumberNaN, nullptr, nullptr), kCFCompareGreaterThan);
    EXPECT_EQ(CFNumberCompare(nullptr, nullptr, nullptr), kCFCompareEqualTo);
}

TEST(CFNumberTest, ConstantsHaveTheirValues) {
    EXPECT_TRUE(CFEqual(kCFNumberPositiveInfinity, MakeNumber(INFINITY)));
    EXPECT_TRUE(CFEqual(kCFNumberNegativeInfinity, MakeNumber(-INFINITY)));
    EXPECT_TRUE(CFEqual(kCFNumberNaN, MakeNumber(NAN)));
}

} // namespace
} // namespace qel::platform
