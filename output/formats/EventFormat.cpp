#include "output/formats/EventFormat.h"

#include "output/formats/CsvFields.h"
#include "output/formats/JsonArrays.h"
#include "output/formats/Strength.h"

namespace qel::tool {

std::string EventFormat::Summary(const KeyInfo&) const {
    return "events";
}

std::string_view EventFormat::Layout(const KeyInfo&) const {
    return "arrays";
}

std::size_t EventFormat::Numbers(const KeyInfo&) const {
    return kAnyNumber;
}

void EventFormat::AppendJson(fmt::memory_buffer& buffer, const Result& result, std::size_t channel,
                             float minStrength) const {
    AppendMembers(buffer, StrongEvents(result, channel, minStrength), &Event::timeSeconds,
                  &Event::strength);
}

// The first value is the time, whose column is there already.
std::vector<std::string> EventFormat::Columns(const KeyInfo& info) const {
    return {std::string(info.values.back().name)};
}

void EventFormat::AppendCsv(fmt::memory_buffer& buffer, const Result& result, std::size_t channel,
                            const CsvRows& rows) const {
    for (const Event& event : StrongEvents(result, channel, rows.minStrength)) {
        AppendEntryStart(buffer, event.timeSeconds, result, channel);
        AppendFields(buffer, event.strength);
        buffer.append(rows.end);
    }
}

} // namespace qel::tool
