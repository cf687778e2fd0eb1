#include "output/formats/PairFormat.h"

#include "output/formats/CsvFields.h"
#include "output/formats/JsonArrays.h"

namespace qel::tool {
namespace {

std::size_t PairsOf(const KeyInfo& info) {
    return info.payloadBytes / (2 * sizeof(float));
}

} // namespace

std::string PairFormat::Summary(const KeyInfo& info) const {
    return fmt::format("{} pairs", PairsOf(info));
}

std::string_view PairFormat::Layout(const KeyInfo&) const {
    return "arrays";
}

std::size_t PairFormat::Numbers(const KeyInfo& info) const {
    return 2 * PairsOf(info);
}

void PairFormat::AppendJson(fmt::memory_buffer& buffer, const Result& result, std::size_t channel,
                            float) const {
    buffer.push_back('[');
    AppendNumbers(buffer, result.floats(channel), 0, 2);
    buffer.push_back(',');
    AppendNumbers(buffer, result.floats(channel), 1, 2);
    buffer.push_back(']');
}

std::vector<std::string> PairFormat::Columns(const KeyInfo& info) const {
    std::vector<std::string> names;
    for (std::size_t k = 0; k < PairsOf(info); ++k) {
        names.push_back(fmt::format("real_{}", k));
        names.push_back(fmt::format("imag_{}", k));
    }
    return names;
}

void PairFormat::AppendCsv(fmt::memory_buffer& buffer, const Result& result, std::size_t channel,
                           const CsvRows&) const {
    AppendFields(buffer, result.floats(channel));
}

} // namespace qel::tool
