#include "tests/output/EventResults.h"

#include <string>

namespace qel::output {
namespace {

constexpr ValueInfo kStrokeValues[] = {{"stroke time", "s", {}, "", ""},
                                       {"stroke strength", "1", {}, "", ""}};
constexpr KeyInfo kStrokes{
    "hand made strokes", PayloadKind::Events, 16, Delivery::AtEnd, 1024, 128, kStrokeValues, ""};

} // namespace

std::vector<Event> At(const std::vector<double>& times) {
    std::vector<Event> events;
    for (const double time : times) {
        events.push_back({time, 1.0f});
    }
    return events;
}

const KeyInfo& StrokeKey() {
    return kStrokes;
}

FileHeader HeaderOf(const std::vector<const KeyInfo*>& keys, std::size_t channels) {
    FileHeader header;
    header.path = "a.wav";
    header.sampleRateHz = 44100;
    header.analyzedChannels = channels;
    for (const KeyInfo* info : keys) {
        header.keys.push_back({info, {}});
    }
    return header;
}

void WriteEvents(ResultWriter& writer, const FileHeader& header, std::size_t key,
                 const EventLists& channels) {
    std::vector<std::vector<QelAudioAnalysisEvent>> records;
    std::vector<QelAudioAnalysisEventList> lists;
    std::vector<QelAudioAnalysisBlock> blocks;
    for (const std::vector<Event>& events : channels) {
        std::vector<QelAudioAnalysisEvent>& list = records.emplace_back();
        for (const Event& event : events) {
            list.push_back({event.timeSeconds, event.strength});
        }
    }
    for (const auto& list : records) {
        lists.push_back({static_cast<UInt32>(list.size()), list.data()});
    }
    for (QelAudioAnalysisEventList& list : lists) {
        blocks.push_back({&list, sizeof list});
    }
    const KeyInfo* const info = header.keys.at(key).info;
    writer.Write(key, Result(info->key, info, 0, 0, blocks));
}

void WriteCounts(ResultWriter& writer, const FileHeader& header, std::size_t key,
                 std::vector<std::uint32_t> channels) {
    std::vector<QelAudioAnalysisBlock> blocks;
    for (std::uint32_t& count : channels) {
        blocks.push_back({&count, sizeof count});
    }
    const KeyInfo* const info = header.keys.at(key).info;
    writer.Write(key, Result(info->key, info, 0, 0, blocks));
}

} // namespace qel::output
