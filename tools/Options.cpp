#include "tools/Options.h"

#include "tools/ToolError.h"

#include <charconv>
#include <cmath>
#include <fmt/format.h>

namespace qel::tool {

Parameter ParseParameter(const std::string& text) {
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos || equals == 0) {
        throw UsageError(fmt::format("parameter \"{}\" is not of the form NAME=VALUE", text));
    }
    const char* const begin = text.data() + equals + 1;
    const char* const end = text.data() + text.size();
    float value = 0;
    const auto [stop, error] = std::from_chars(begin, end, value);
    if (error != std::errc() || stop != end || !std::isfinite(value)) {
        throw UsageError(fmt::format("parameter \"{}\" has no number as its value", text));
    }
    return {text.substr(0, equals), value};
}

} // namespace qel::tool
