#include "output/formats/NumberFormat.h"

#include "output/formats/CsvFields.h"
#include "output/formats/JsonArrays.h"

namespace qel::tool {

std::string NumberFormat::Summary(const KeyInfo& info) const {
    return fmt::format("{} value{}", info.values.size(), info.values.size() == 1 ? "" : "s");
}

std::string_view NumberFormat::Layout(const KeyInfo&) const {
    return "numbers";
}

std::size_t NumberFormat::Numbers(const KeyInfo& info) const {
    return info.values.size();
}

void NumberFormat::AppendJson(fmt::memory_buffer& buffer, const Result& result, std::size_t channel,
                              float) const {
    AppendNumbers(buffer, result.floats(channel));
}

std::vector<std::string> NumberFormat::Columns(const KeyInfo& info) const {
    std::vector<std::string> names;
    for (const ValueInfo& value : info.values) {
        names.emplace_back(value.name);
    }
    return names;
}

void NumberFormat::AppendCsv(fmt::memory_buffer& buffer, const Result& result, std::size_t channel,
                             const CsvRows&) const {
    AppendFields(buffer, result.floats(channel));
}

} // namespace qel::tool
