#pragma once

#include "output/formats/PayloadFormat.h"

namespace qel::tool {

// Partials: in JSON an array of each of their numbers, in CSV a row per partial with the time of
// its frame.
class PartialFormat : public PayloadFormat {
public:
    std::string Summary(const KeyInfo& info) const override;
    std::string_view Layout(const KeyInfo& info) const override;
    std::size_t Numbers(const KeyInfo& info) const override;
    void AppendJson(fmt::memory_buffer& buffer, const Result& result, std::size_t channel,
                    float minStrength) const override;
    std::vector<std::string> Columns(const KeyInfo& info) const override;
    bool HasRowPerEntry() const override { return true; }
    void AppendCsv(fmt::memory_buffer& buffer, const Result& result, std::size_t channel,
                   const CsvRows& rows) const override;
};

} // namespace qel::tool
