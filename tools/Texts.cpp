#include "tools/Texts.h"

#include <nlohmann/json.hpp>

namespace qel::tool {

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

} // namespace qel::tool
