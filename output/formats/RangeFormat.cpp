#include "output/formats/RangeFormat.h"

#include "output/formats/CsvFields.h"
#include "output/formats/JsonArrays.h"

#include <array>
#include <limits>

namespace qel::tool {
namespace {

std::array<float, 3> NumbersOf(const AudioRange& range) {
    constexpr float kNone = std::numeric_limits<float>::quiet_NaN();
    return {range.headroom.value_or(kNone), range.noiseFloorDb.value_or(kNone),
            range.cutoffHz.value_or(kNone)};
}

} // namespace

void RangeFormat::AppendJson(fmt::memory_buffer& buffer, const Result& result, std::size_t channel,
                             float) const {
    AppendNumbers(buffer, NumbersOf(result.range(channel)));
}

void RangeFormat::AppendCsv(fmt::memory_buffer& buffer, const Result& result, std::size_t channel,
                            const CsvRows&) const {
    AppendFields(buffer, std::span<const float>(NumbersOf(result.range(channel))));
}

} // namespace qel::tool
