#pragma once

#include <fmt/compile.h>
#include <fmt/format.h>

#include <cmath>
#include <iterator>

namespace qel::output {

// Numbers as text: the shortest digits that read back as the same number, with a point whatever the
// locale. JSON has no word for numbers that are not finite: they become null.
template <typename Number>
void AppendJsonNumber(fmt::memory_buffer& buffer, Number value) {
    if (std::isfinite(value)) {
        fmt::format_to(std::back_inserter(buffer), FMT_COMPILE("{}"), value);
    } else {
        buffer.append(std::string_view("null"));
    }
}

// In CSV, what is not finite reads nan, inf or -inf.
template <typename Number>
void AppendCsvNumber(fmt::memory_buffer& buffer, Number value) {
    if (std::isnan(value)) {
        buffer.append(std::string_view("nan")); // whatever its sign
    } else {
        fmt::format_to(std::back_inserter(buffer), FMT_COMPILE("{}"), value);
    }
}

// A moment in a file for annotation tools: microseconds, finer than any sample, and never an
// exponent.
inline void AppendSeconds(fmt::memory_buffer& buffer, double seconds) {
    fmt::format_to(std::back_inserter(buffer), FMT_COMPILE("{:.6f}"), seconds);
}

} // namespace qel::output
