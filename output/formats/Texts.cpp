#include "output/formats/Texts.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace qel::output {

std::string JsonText(const std::string& text) {
    using Json = nlohmann::json;
    return Json(text).dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string CsvText(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) {
        return text;
    }
    std::string quoted = "\"";
    for (const char c : text) {
        quoted.append(c == '"' ? 2 : 1, c);
    }
    return quoted + '"';
}

std::string PrintableText(std::string_view text) {
    constexpr std::string_view kNamed = "\n\r\t";
    constexpr std::string_view kNames = "nrt";
    std::string printable;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        const std::size_t named = kNamed.find(c);
        if (named != std::string_view::npos) {
            printable += {'\\', kNames[named]};
        } else if (byte < ' ' || byte == 0x7F) {
            printable += fmt::format("\\x{:02x}", byte);
        } else {
            printable += c;
        }
    }
    return printable;
}

std::string CountText(std::int64_t count, std::string_view noun) {
    return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

} // namespace qel::output
