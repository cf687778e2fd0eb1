#include "output/formats/VectorFormat.h"

#include "output/formats/CsvFields.h"
#include "output/formats/JsonArrays.h"

namespace qel::tool {
namespace {

std::size_t PlacesOf(const KeyInfo& info) {
    return info.payloadBytes / sizeof(float);
}

} // namespace

std::string VectorFormat::Summary(const KeyInfo& info) const {
    return PlacesOf(info) == 1 ? std::string("1 value")
                               : fmt::format("vector of {}", PlacesOf(info));
}

std::string_view VectorFormat::Layout(const KeyInfo& info) const {
    return PlacesOf(info) == 1 ? "numbers" : "arrays";
}

std::size_t VectorFormat::Numbers(const KeyInfo& info) const {
    return PlacesOf(info);
}

void VectorFormat::AppendJson(fmt::memory_buffer& buffer, const Result& result, std::size_t channel,
                              float) const {
    if (PlacesOf(*result.info()) == 1) {
        AppendNumbers(buffer, result.floats(channel));
        return;
    }
    buffer.push_back('[');
    AppendNumbers(buffer, result.floats(channel));
    buffer.push_back(']');
}

std::vector<std::string> VectorFormat::Columns(const KeyInfo& info) const {
    const std::string_view name = info.values.front().name;
    if (PlacesOf(info) == 1) {
        return {std::string(name)};
    }
    std::vector<std::string> names;
    for (std::size_t k = 0; k < PlacesOf(info); ++k) {
        names.push_back(fmt::format("{}_{}", name, k));
    }
    return names;
}

void VectorFormat::AppendCsv(fmt::memory_buffer& buffer, const Result& result, std::size_t channel,
                             const CsvRows&) const {
    AppendFields(buffer, result.floats(channel));
}

} // namespace qel::tool
