#include "engine/base/EventList.h"

#include "engine/base/KeyFacts.h"
#include "support/containers/CACFArray.h"

#include <Accelerate/Accelerate.h>

#include <numeric>

namespace qel::core {

static_assert(KeyTable::OnsetData.payloadBytes == sizeof(QelAudioAnalysisEventList));
static_assert(KeyTable::BeatData.payloadBytes == sizeof(QelAudioAnalysisEventList));
static_assert(KeyTable::DownBeatData.payloadBytes == sizeof(QelAudioAnalysisEventList));

std::vector<QelAudioAnalysisEvent> SortedEvents(const Events& events) {
    std::vector<vDSP_Length> order(events.times.size());
    std::iota(order.begin(), order.end(), vDSP_Length{0});
    vDSP_vsortiD(events.times.data(), order.data(), nullptr, order.size(), 1);
    std::vector<QelAudioAnalysisEvent> sorted;
    sorted.reserve(order.size());
    for (const vDSP_Length i : order) {
        sorted.push_back({events.times[i], events.strengths[i]});
    }
    return sorted;
}

void PrepareEventBlocks(AnalysisBlocks& blocks,
                        const std::vector<std::vector<QelAudioAnalysisEvent>>& channels) {
    const auto count = static_cast<UInt32>(channels.size());
    blocks.Prepare(count, sizeof(QelAudioAnalysisEventList));
    for (UInt32 c = 0; c < count; ++c) {
        const QelAudioAnalysisEventList list{static_cast<UInt32>(channels[c].size()),
                                             channels[c].data()};
        blocks.Store(c, &list);
    }
}

CACFDictionary EventDictionary(const QelAudioAnalysisBlock& block, CFStringRef timeName,
                               CFStringRef strengthName) {
    CACFDictionary values(true);
    QelAudioAnalysisEventList list{};
    if (block.mData != nullptr && block.mDataByteSize >= sizeof list) {
        list = *static_cast<const QelAudioAnalysisEventList*>(block.mData);
    }
    if (list.mEvents == nullptr) {
        list.mCount = 0;
    }
    CACFArray times(list.mCount, true);
    CACFArray strengths(list.mCount, true);
    for (UInt32 i = 0; i < list.mCount; ++i) {
        times.AppendFloat32(static_cast<float>(list.mEvents[i].mTime));
        strengths.AppendFloat32(list.mEvents[i].mStrength);
    }
    values.AddArray(timeName, times.GetCFArray());
    values.AddArray(strengthName, strengths.GetCFArray());
    return values;
}

} // namespace qel::core
