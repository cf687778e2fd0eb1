#pragma once

#include "page/pictures/ColourMap.h"

#include <cstdint>
#include <span>
#include <string>

namespace qel::page {

// Codes a picture of colour indices, row by row from the top, as a file of PNG with a palette.
// pixels has width times height entries below kColours. With isClear, index 0 is transparent.
// Throws std::bad_alloc.
std::string PngImage(std::span<const std::uint8_t> pixels, std::size_t width, std::size_t height,
                     const ColourMap& colours, bool isClear);

} // namespace qel::page
