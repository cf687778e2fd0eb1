#include "tools/read/ReadingRows.h"

#include "output/formats/Texts.h"
#include "tools/read/ReadingFields.h"

#include <fmt/format.h>

#include <string_view>

namespace qel::tool {
namespace {

using Json = nlohmann::ordered_json;

// Nothing for what does not exist; texts without quotes.
std::string FieldText(const Json& value) {
    if (value.is_null()) {
        return "";
    }
    return value.is_string() ? value.get<std::string>() : value.dump();
}

// A field of a row with tabs: with backslashes doubled, so that "\\t" is a backslash and a t, and
// "\t" a tab.
std::string TsvText(std::string_view field) {
    std::string doubled;
    for (const char c : field) {
        doubled.append(c == '\\' ? 2 : 1, c);
    }
    return output::PrintableText(doubled);
}

} // namespace

std::string ReadingJson::Begin() const {
    return fmt::format("{{\"qel\":\"{}\",\"files\":[", QEL_VERSION);
}

std::string ReadingJson::Entry(const FileReadings& file, bool isFirst) const {
    Json entry = FieldsOf(file, mShown);
    entry["channels_cancel"] =
        file.error.empty() ? Json(file.answers.channelsCancel) : Json(nullptr);
    entry.update(ListsOf(file, mOptions));
    // A path need not be UTF-8, while JSON must be.
    return (isFirst ? "\n" : ",\n") + entry.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string ReadingJson::End() const {
    return "\n]}\n";
}

std::string ReadingRows::Row(const std::vector<std::string>& fields) const {
    std::string row;
    const char* separator = "";
    for (const std::string& field : fields) {
        row += separator;
        row += mIsCsv ? output::CsvText(field) : TsvText(field);
        separator = mIsCsv ? "," : "\t";
    }
    return row + '\n';
}

std::string ReadingRows::Begin() const {
    std::vector<std::string> names;
    FileReadings nothing;
    nothing.error = "nothing was read";
    const Json fields = FieldsOf(nothing, mShown);
    for (const auto& field : fields.items()) {
        names.push_back(field.key());
    }
    return Row(names);
}

std::string ReadingRows::Entry(const FileReadings& file, bool) const {
    std::vector<std::string> texts;
    for (const Json& value : FieldsOf(file, mShown)) {
        texts.push_back(FieldText(value));
    }
    return Row(texts);
}

} // namespace qel::tool
