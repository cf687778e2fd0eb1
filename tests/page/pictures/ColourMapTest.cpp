#include "page/pictures/ColourMap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <tuple>

namespace qel::page {
namespace {

double Linear(std::uint8_t coded) {
    const double part = coded / 255.0;
    return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
}

// CIE 1976 L*a*b* under D65: another space than the one that the colours are computed in.
std::array<double, 3> Lab(const Colour& colour) {
    const double r = Linear(colour.red);
    const double g = Linear(colour.green);
    const double b = Linear(colour.blue);
    const auto f = [](double t) { return t > 0.008856 ? std::cbrt(t) : 7.787 * t + 16.0 / 116; };
    const double x = f((0.4124 * r + 0.3576 * g + 0.1805 * b) / 0.9505);
    const double y = f(0.2126 * r + 0.7152 * g + 0.0722 * b);
    const double z = f((0.0193 * r + 0.1192 * g + 0.9505 * b) / 1.089);
    return {116 * y - 16, 500 * (x - y), 200 * (y - z)};
}

TEST(ColourMapTest, LightnessRisesFromColourToColour) {
    const ColourMap& colours = PerceptualColours();
    for (std::size_t i = 1; i < colours.size(); ++i) {
        EXPECT_GT(Lab(colours[i])[0], Lab(colours[i - 1])[0]) << i;
    }
    EXPECT_LT(Lab(colours.front())[0], 15);
    EXPECT_GT(Lab(colours.back())[0], 85);
}

// 4.9 is the mean distance of neighbours in CIELAB, which is less even than OKLab in the blues; a
// rainbow has steps that differ by ten.
TEST(ColourMapTest, NeighboursAreAboutEquallyFarApart) {
    const ColourMap& colours = PerceptualColours();
    double least = 1e9;
    double greatest = 0;
    for (std::size_t i = 1; i < colours.size(); ++i) {
        const auto one = Lab(colours[i - 1]);
        const auto other = Lab(colours[i]);
        const double step = std::hypot(one[0] - other[0], one[1] - other[1], one[2] - other[2]);
        least = std::min(least, step);
        greatest = std::max(greatest, step);
    }
    EXPECT_GT(least, 1);
    EXPECT_LT(greatest / least, 4);
}

// The page reads values back from colours.
TEST(ColourMapTest, NoTwoColoursAreEqual) {
    std::set<std::tuple<int, int, int>> seen;
    for (const Colour& colour : PerceptualColours()) {
        EXPECT_TRUE(seen.emplace(colour.red, colour.green, colour.blue).second);
    }
}

} // namespace
} // namespace qel::page
