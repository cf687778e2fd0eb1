#include "page/pictures/ColourMap.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

namespace qel::page {
namespace {

using Triple = std::array<double, 3>;

constexpr double kDarkest = 0.20;   // lightness of the first colour
constexpr double kLightest = 0.92;  // of the last one
constexpr double kFirstHue = 300;   // degrees: violet
constexpr double kLastHue = 105;    // yellow
constexpr double kWeakest = 0.10;   // chroma of the first colour
constexpr double kStrongest = 0.17; // of the last one
constexpr int kSteps = 1024;        // on the way, before it is cut

// OKLab to linear sRGB, with the matrices of the publication.
Triple LinearRgb(const Triple& lab) {
    const auto [lightness, a, b] = lab;
    const double l = std::pow(lightness + 0.3963377774 * a + 0.2158037573 * b, 3);
    const double m = std::pow(lightness - 0.1055613458 * a - 0.0638541728 * b, 3);
    const double s = std::pow(lightness - 0.0894841775 * a - 1.2914855480 * b, 3);
    return {4.0767416621 * l - 3.3077115913 * m + 0.2309699292 * s,
            -1.2684380046 * l + 2.6097574011 * m - 0.3413193965 * s,
            -0.0041960863 * l - 0.7034186147 * m + 1.7076147010 * s};
}

bool IsShown(const Triple& rgb) {
    return std::ranges::all_of(rgb, [](double part) { return part >= 0 && part <= 1; });
}

// The colour at a place of the spiral, with as much chroma as the screen can show.
Triple OnSpiral(double place) {
    const double lightness = std::lerp(kDarkest, kLightest, place);
    const double hue = std::lerp(kFirstHue, kLastHue, place) * std::numbers::pi / 180;
    double chroma = std::lerp(kWeakest, kStrongest, place);
    const auto at = [&] {
        return Triple{lightness, chroma * std::cos(hue), chroma * std::sin(hue)};
    };
    while (chroma > 0 && !IsShown(LinearRgb(at()))) {
        chroma -= 0.001;
    }
    return at();
}

// The transfer function of sRGB (IEC 61966-2-1).
std::uint8_t Coded(double linear) {
    const double part = std::clamp(linear, 0.0, 1.0);
    const double coded = part <= 0.0031308 ? 12.92 * part : 1.055 * std::pow(part, 1 / 2.4) - 0.055;
    return static_cast<std::uint8_t>(std::lround(255 * coded));
}

double Distance(const Triple& one, const Triple& other) {
    return std::hypot(one[0] - other[0], one[1] - other[1], one[2] - other[2]);
}

ColourMap Compute() {
    std::vector<Triple> way;
    std::vector<double> walked{0.0};
    for (int i = 0; i <= kSteps; ++i) {
        way.push_back(OnSpiral(static_cast<double>(i) / kSteps));
        if (i > 0) {
            walked.push_back(walked.back() + Distance(way[way.size() - 2], way.back()));
        }
    }
    ColourMap colours;
    for (std::size_t i = 0; i < kColours; ++i) {
        const double wanted = walked.back() * static_cast<double>(i) / (kColours - 1);
        const auto found = std::ranges::lower_bound(walked, wanted - 1e-9);
        const Triple rgb = LinearRgb(way[static_cast<std::size_t>(found - walked.begin())]);
        colours[i] = {Coded(rgb[0]), Coded(rgb[1]), Coded(rgb[2])};
    }
    return colours;
}

} // namespace

const ColourMap& PerceptualColours() {
    static const ColourMap colours = Compute();
    return colours;
}

} // namespace qel::page
