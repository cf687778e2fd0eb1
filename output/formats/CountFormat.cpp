#include "output/formats/CountFormat.h"

#include <iterator>

namespace qel::tool {

std::string CountFormat::Summary(const KeyInfo&) const {
    return "1 count";
}

std::string_view CountFormat::Layout(const KeyInfo&) const {
    return "numbers";
}

std::size_t CountFormat::Numbers(const KeyInfo&) const {
    return 1;
}

void CountFormat::AppendJson(fmt::memory_buffer& buffer, const Result& result, std::size_t channel,
                             float) const {
    fmt::format_to(std::back_inserter(buffer), "[{}]", result.count(channel));
}

std::vector<std::string> CountFormat::Columns(const KeyInfo& info) const {
    return {std::string(info.values.front().name)};
}

void CountFormat::AppendCsv(fmt::memory_buffer& buffer, const Result& result, std::size_t channel,
                            const CsvRows&) const {
    fmt::format_to(std::back_inserter(buffer), ",{}", result.count(channel));
}

} // namespace qel::tool
