#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace qel::page {

struct Colour {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;

    bool operator==(const Colour&) const = default;
};

// How many colours a picture has: values are told apart in steps of 1/63 of their range.
inline constexpr std::size_t kColours = 64;
using ColourMap = std::array<Colour, kColours>;

// A perceptual map from dark violet over blue and green to yellow, as viridis: its lightness rises
// steadily, and neighbours are equally far apart to the eye. It is computed in OKLab (Ottosson, A
// perceptual color space for image processing, 2020): a spiral of rising lightness and falling hue,
// cut into steps of equal distance.
const ColourMap& PerceptualColours();

} // namespace qel::page
