#include "output/formats/FloatText.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>

namespace qel::output {
namespace {

std::string Text(float value) {
    char text[kMostFloatChars];
    return {text, WriteFloat(text, value)};
}

TEST(FloatTextTest, PlainNumbersReachFromATenThousandthToBelowTenToThe16) {
    EXPECT_EQ(Text(1.5e-5f), "1.5e-05");
    EXPECT_EQ(Text(0.0001f), "0.0001");
    EXPECT_EQ(Text(0.00012345679f), "0.00012345679");
    EXPECT_EQ(Text(0.5f), "0.5");
    EXPECT_EQ(Text(1e15f), "1000000000000000");
    EXPECT_EQ(Text(1e16f), "1e+16");
    EXPECT_EQ(Text(1.5e20f), "1.5e+20");
}

TEST(FloatTextTest, WholeNumbersHaveNoPoint) {
    EXPECT_EQ(Text(0.0f), "0");
    EXPECT_EQ(Text(-0.0f), "-0");
    EXPECT_EQ(Text(7.0f), "7");
    EXPECT_EQ(Text(-10.0f), "-10");
    EXPECT_EQ(Text(16777216.0f), "16777216");
}

TEST(FloatTextTest, PointsStandBetweenTheDigits) {
    EXPECT_EQ(Text(12.5f), "12.5");
    EXPECT_EQ(Text(-3.1415927f), "-3.1415927");
    EXPECT_EQ(Text(123456.7f), "123456.7");
}

TEST(FloatTextTest, TheEndsOfTheRangeAreWritten) {
    EXPECT_EQ(Text(std::numeric_limits<float>::max()), "3.4028235e+38");
    EXPECT_EQ(Text(std::numeric_limits<float>::min()), "1.1754944e-38");
    EXPECT_EQ(Text(std::numeric_limits<float>::denorm_min()), "1e-45");
}

// Every 4001st of the positive floats; QEL_TRUST_EXHAUSTIVE=1: every one, in some minutes.
TEST(FloatTextTest, EveryFloatHasTheTextThatItHadFromFmt) {
    const std::uint32_t stride = std::getenv("QEL_TRUST_EXHAUSTIVE") != nullptr ? 1 : 4001;
    const auto last = std::bit_cast<std::uint32_t>(std::numeric_limits<float>::max());
    for (std::uint32_t bits = 0; bits <= last; bits += stride) {
        const auto value = std::bit_cast<float>(bits);
        char expected[kMostFloatChars];
        const char* const end = fmt::format_to(expected, "{}", value);
        char text[kMostFloatChars];
        ASSERT_EQ(std::string_view(text, WriteFloat(text, value)), std::string_view(expected, end));
    }
}

// Independent of fmt: another library's shortest digits are as many.
TEST(FloatTextTest, NoTextHasMoreDigitsThanAnotherShortestOne) {
    const auto digits = [](std::string_view text) {
        std::string found;
        for (const char c : text.substr(0, text.find('e'))) {
            if (c >= '0' && c <= '9') {
                found += c;
            }
        }
        found.erase(0, found.find_first_not_of('0'));
        return found.substr(0, found.find_last_not_of('0') + 1);
    };
    const auto last = std::bit_cast<std::uint32_t>(std::numeric_limits<float>::max());
    for (std::uint32_t bits = 1; bits <= last; bits += 40009) {
        const auto value = std::bit_cast<float>(bits);
        char other[kMostFloatChars];
        const auto end =
            std::to_chars(other, other + sizeof(other), value, std::chars_format::scientific).ptr;
        const std::string text = Text(value);
        ASSERT_EQ(digits(text).size(), digits({other, end}).size()) << text;
        ASSERT_EQ(std::strtof(text.c_str(), nullptr), value);
    }
}

} // namespace
} // namespace qel::output
