#include "readings/stream/Requests.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace qel::readings {
namespace {

TEST(RequestsTest, AllReadingsAreKnownAndDiffer) {
    const auto all = allReadings();
    EXPECT_EQ(std::set<Reading>(all.begin(), all.end()).size(), all.size());
    EXPECT_EQ(requireKnown(all), std::vector<Reading>(all.begin(), all.end()));
}

TEST(RequestsTest, TheOrderOfARequestStays) {
    const std::vector<Reading> wanted{Reading::Pitch, Reading::Tempo, Reading::Pitch};
    EXPECT_EQ(requireKnown(wanted), wanted);
    EXPECT_TRUE(requireKnown({}).empty());
}

TEST(RequestsTest, ANumberThatIsNoReadingIsNamed) {
    const std::vector<Reading> wanted{Reading::Tempo, static_cast<Reading>(77)};
    try {
        requireKnown(wanted);
        FAIL() << "77 was taken";
    } catch (const std::invalid_argument& error) {
        EXPECT_NE(std::string(error.what()).find("77"), std::string::npos) << error.what();
    }
}

TEST(RequestsTest, RatesFrom8000To768000AndUpTo64ChannelsAreUsable) {
    for (const double rateHz : {8000.0, 44100.0, 768000.0}) {
        for (const std::uint32_t channels : {1u, 2u, 64u}) {
            const readings::Setup setup{.sampleRateHz = rateHz, .channels = channels};
            EXPECT_EQ(&requireUsable(setup), &setup) << rateHz << ' ' << channels;
        }
    }
}

TEST(RequestsTest, OtherRatesAndChannelsAreRefused) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double rateHz : {0.0, -44100.0, 7999.9, 768001.0, nan, infinity}) {
        EXPECT_THROW(requireUsable({.sampleRateHz = rateHz}), std::invalid_argument) << rateHz;
    }
    for (const std::uint32_t channels : {0u, 65u, 4294967295u}) {
        EXPECT_THROW(requireUsable({.sampleRateHz = 44100, .channels = channels}),
                     std::invalid_argument)
            << channels;
    }
}

} // namespace
} // namespace qel::readings
