#include "output/formats/PartialFormat.h"

#include "output/formats/CsvFields.h"
#include "output/formats/JsonArrays.h"

namespace qel::tool {

std::string PartialFormat::Summary(const KeyInfo&) const {
    return "partials";
}

std::string_view PartialFormat::Layout(const KeyInfo&) const {
    return "arrays";
}

std::size_t PartialFormat::Numbers(const KeyInfo&) const {
    return kAnyNumber;
}

void PartialFormat::AppendJson(fmt::memory_buffer& buffer, const Result& result,
                               std::size_t channel, float) const {
    AppendMembers(buffer, result.partials(channel), &Partial::bin, &Partial::frequencyHz,
                  &Partial::magnitude, &Partial::phaseRadians, &Partial::timeFrames);
}

std::vector<std::string> PartialFormat::Columns(const KeyInfo& info) const {
    std::vector<std::string> names;
    for (const ValueInfo& value : info.values) {
        names.emplace_back(value.name);
    }
    return names;
}

void PartialFormat::AppendCsv(fmt::memory_buffer& buffer, const Result& result, std::size_t channel,
                              const CsvRows& rows) const {
    for (const Partial& partial : result.partials(channel)) {
        AppendEntryStart(buffer, result.timeSeconds(), result, channel);
        AppendFields(buffer, partial.bin, partial.frequencyHz, partial.magnitude,
                     partial.phaseRadians, partial.timeFrames);
        buffer.append(rows.end);
    }
}

} // namespace qel::tool
