#include "tools/qel/Options.h"

#include "tools/qel/ToolError.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <optional>
#include <string_view>

namespace qel::tool {
namespace {

// A finite decimal number with a point, whatever the locale, and nothing else.
std::optional<float> ParseNumber(std::string_view text) {
    float value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    const bool isNumber = error == std::errc() && stop == end && std::isfinite(value);
    return isNumber ? std::optional(value) : std::nullopt;
}

} // namespace

output::Parameter ParseParameter(const std::string& text) {
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos || equals == 0) {
        throw UsageError(fmt::format("parameter \"{}\" is not of the form NAME=VALUE", text));
    }
    const std::optional<float> value = ParseNumber(std::string_view(text).substr(equals + 1));
    if (!value.has_value()) {
        throw UsageError(fmt::format("parameter \"{}\" has no number as its value", text));
    }
    return {text.substr(0, equals), *value};
}

float ParseStrength(const std::string& text) {
    const std::optional<float> value = ParseNumber(text);
    if (!value.has_value() || *value < 0) {
        throw UsageError(
            fmt::format("--min-strength: \"{}\" is not a finite number of 0 or above", text));
    }
    return *value;
}

} // namespace qel::tool
