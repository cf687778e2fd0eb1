#pragma once

#include "output/formats/FloatText.h"

#include <fmt/compile.h>
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <string_view>

namespace qel::output {

// A finite number.
template <typename Number>
void AppendFinite(fmt::memory_buffer& buffer, Number value) {
    fmt::format_to(std::back_inserter(buffer), FMT_COMPILE("{}"), value);
}

inline void AppendFinite(fmt::memory_buffer& buffer, float value) {
    const std::size_t size = buffer.size();
    buffer.resize(size + kMostFloatChars);
    const char* const end = WriteFloat(buffer.data() + size, value);
    buffer.resize(static_cast<std::size_t>(end - buffer.data()));
}

// Numbers as text: the shortest digits that read back as the same number, with a point whatever the
// locale. JSON has no word for numbers that are not finite: they become null.
template <typename Number>
void AppendJsonNumber(fmt::memory_buffer& buffer, Number value) {
    if (std::isfinite(value)) {
        AppendFinite(buffer, value);
    } else {
        buffer.append(std::string_view("null"));
    }
}

// What is not finite reads nan, inf or -inf in CSV.
template <typename Number>
std::string_view WordOfInfinite(Number value) {
    if (std::isnan(value)) {
        return "nan"; // whatever its sign
    }
    return value < 0 ? "-inf" : "inf";
}

template <typename Number>
void AppendCsvNumber(fmt::memory_buffer& buffer, Number value) {
    if (std::isfinite(value)) {
        AppendFinite(buffer, value);
    } else {
        buffer.append(WordOfInfinite(value));
    }
}

// The same at a place with room for kMostFloatChars; returns the end.
inline char* WriteCsvFloat(char* out, float value) {
    return std::isfinite(value) ? WriteFloat(out, value)
                                : std::ranges::copy(WordOfInfinite(value), out).out;
}

// A moment in a file for annotation tools: microseconds, finer than any sample, and never an
// exponent.
inline void AppendSeconds(fmt::memory_buffer& buffer, double seconds) {
    fmt::format_to(std::back_inserter(buffer), FMT_COMPILE("{:.6f}"), seconds);
}

} // namespace qel::output
