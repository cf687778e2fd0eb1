#include "output/formats/NameFormat.h"

#include "output/formats/Texts.h"

#include <iterator>

namespace qel::tool {

std::string NameFormat::Summary(const KeyInfo&) const {
    return "1 name";
}

std::string_view NameFormat::Layout(const KeyInfo&) const {
    return "names";
}

std::size_t NameFormat::Numbers(const KeyInfo&) const {
    return 1;
}

void NameFormat::AppendJson(fmt::memory_buffer& buffer, const Result& result, std::size_t channel,
                            float) const {
    fmt::format_to(std::back_inserter(buffer), "[{}]", JsonText(result.name(channel)));
}

std::vector<std::string> NameFormat::Columns(const KeyInfo& info) const {
    return {std::string(info.values.front().name)};
}

void NameFormat::AppendCsv(fmt::memory_buffer& buffer, const Result& result, std::size_t channel,
                           const CsvRows&) const {
    fmt::format_to(std::back_inserter(buffer), ",{}", CsvText(result.name(channel)));
}

} // namespace qel::tool
