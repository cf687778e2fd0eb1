#pragma once

#include <QelAudioAnalysis/Result.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace qel::output {

// The events of a file of audio by key and channel, and its beats per bar, kept until all of them
// have come: values next to an event may come from another key.
class EventCollector {
public:
    void Clear();

    // Takes a result in; one without events or beats per bar is ignored.
    void Add(const Result& result);

    // Empty if there are none.
    const std::vector<Event>& Events(std::string_view key, std::size_t channel) const;

    // The position of every beat in its bar, from BarPositions.
    std::vector<std::size_t> BeatPositions(std::size_t channel) const;

private:
    using Channels = std::vector<std::vector<Event>>;

    std::map<std::string, Channels, std::less<>> mEvents;
    std::vector<std::uint32_t> mBeatsPerBar; // by channel
};

} // namespace qel::output
