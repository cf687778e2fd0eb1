#include "output/formats/Numbers.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>

namespace qel::output {
namespace {

template <typename Number>
std::string Json(Number value) {
    fmt::memory_buffer buffer;
    AppendJsonNumber(buffer, value);
    return fmt::to_string(buffer);
}

template <typename Number>
std::string Csv(Number value) {
    fmt::memory_buffer buffer;
    AppendCsvNumber(buffer, value);
    return fmt::to_string(buffer);
}

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

TEST(NumbersTest, FloatsTakeTheShortestDigitsThatReadBack) {
    EXPECT_EQ(Json(0.1f), "0.1");
    EXPECT_EQ(Json(1.0f), "1");
    EXPECT_EQ(Json(-2.5f), "-2.5");
    EXPECT_EQ(Json(0.1), "0.1");
    EXPECT_EQ(Csv(16777216.0f), "16777216");
}

TEST(NumbersTest, EveryFloatReadsBackAsItself) {
    std::mt19937 generator(7);
    for (int i = 0; i < 100000; ++i) {
        const auto value = std::bit_cast<float>(static_cast<std::uint32_t>(generator()));
        if (std::isfinite(value)) {
            EXPECT_EQ(std::strtof(Json(value).c_str(), nullptr), value);
        }
    }
}

TEST(NumbersTest, WhatIsNotFiniteIsNullInJson) {
    EXPECT_EQ(Json(kNan), "null");
    EXPECT_EQ(Json(kInfinity), "null");
    EXPECT_EQ(Json(-kInfinity), "null");
}

TEST(NumbersTest, WhatIsNotFiniteHasAWordInCsv) {
    EXPECT_EQ(Csv(kNan), "nan");
    EXPECT_EQ(Csv(-kNan), "nan");
    EXPECT_EQ(Csv(kInfinity), "inf");
    EXPECT_EQ(Csv(-kInfinity), "-inf");
}

TEST(NumbersTest, SecondsHaveSixDecimalsAndNeverAnExponent) {
    const auto seconds = [](double value) {
        fmt::memory_buffer buffer;
        AppendSeconds(buffer, value);
        return fmt::to_string(buffer);
    };
    EXPECT_EQ(seconds(0), "0.000000");
    EXPECT_EQ(seconds(1.0 / 3), "0.333333");
    EXPECT_EQ(seconds(0.0000226757), "0.000023");
    EXPECT_EQ(seconds(359999.5), "359999.500000");
}

} // namespace
} // namespace qel::output
