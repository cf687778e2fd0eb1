#pragma once

#include "output/formats/NumberFormat.h"

namespace qel::tool {

// How far samples reach: numbers, of which one that was not found is null in JSON and nan in CSV.
class RangeFormat : public NumberFormat {
public:
    void AppendJson(fmt::memory_buffer& buffer, const Result& result, std::size_t channel,
                    float minStrength) const override;
    void AppendCsv(fmt::memory_buffer& buffer, const Result& result, std::size_t channel,
                   const CsvRows& rows) const override;
};

} // namespace qel::tool
