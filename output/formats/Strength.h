#pragma once

#include <QelAudioAnalysis/Result.hpp>

#include <cstddef>
#include <vector>

namespace qel::output {

// Whether an event is to be written. A strength that is not a number is weaker than nothing.
inline bool IsStrong(const Event& event, float minStrength) {
    return !(event.strength < minStrength);
}

// The events of a channel that are to be written.
inline std::vector<Event> StrongEvents(const Result& result, std::size_t channel,
                                       float minStrength) {
    std::vector<Event> events = result.events(channel);
    std::erase_if(events,
                  [minStrength](const Event& event) { return !IsStrong(event, minStrength); });
    return events;
}

} // namespace qel::output
