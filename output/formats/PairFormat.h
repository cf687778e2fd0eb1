#pragma once

#include "output/formats/PayloadFormat.h"

namespace qel::tool {

// Complex numbers: in JSON an array of real and one of imaginary parts, in CSV numbered pairs of
// columns: real_0, imag_0, real_1, ...
class PairFormat : public PayloadFormat {
public:
    std::string Summary(const KeyInfo& info) const override;
    std::string_view Layout(const KeyInfo& info) const override;
    std::size_t Numbers(const KeyInfo& info) const override;
    void AppendJson(fmt::memory_buffer& buffer, const Result& result, std::size_t channel,
                    float minStrength) const override;
    std::vector<std::string> Columns(const KeyInfo& info) const override;
    void AppendCsv(fmt::memory_buffer& buffer, const Result& result, std::size_t channel,
                   const CsvRows& rows) const override;
};

} // namespace qel::tool
