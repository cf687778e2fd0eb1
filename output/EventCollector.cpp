#include "output/EventCollector.h"

#include "output/BarPositions.h"
#include "output/KeyFacts.h"

namespace qel::output {

void EventCollector::Clear() {
    mEvents.clear();
    mBeatsPerBar.clear();
}

void EventCollector::Add(const Result& result) {
    if (result.info()->payload == PayloadKind::Events) {
        Channels& channels = mEvents[std::string(result.key())];
        channels.resize(result.channels());
        for (std::size_t c = 0; c < result.channels(); ++c) {
            const std::vector<Event> events = result.events(c);
            channels[c].insert(channels[c].end(), events.begin(), events.end());
        }
    } else if (result.key() == kBeatsPerBarKey) {
        mBeatsPerBar.clear();
        for (std::size_t c = 0; c < result.channels(); ++c) {
            mBeatsPerBar.push_back(result.count(c));
        }
    }
}

const std::vector<Event>& EventCollector::Events(std::string_view key, std::size_t channel) const {
    static const std::vector<Event> kNone;
    const auto found = mEvents.find(key);
    return found == mEvents.end() ? kNone : found->second.at(channel);
}

std::vector<std::size_t> EventCollector::BeatPositions(std::size_t channel) const {
    const std::uint32_t beatsPerBar =
        channel < mBeatsPerBar.size() ? mBeatsPerBar[channel] : std::uint32_t{0};
    return BarPositions(Events(kBeatKey, channel), Events(kDownBeatKey, channel), beatsPerBar);
}

} // namespace qel::output
