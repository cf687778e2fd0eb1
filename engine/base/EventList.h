#pragma once

#include "engine/base/AnalysisBlocks.h"
#include "support/containers/CACFDictionary.h"

#include <vector>

namespace qel::core {

// Events of a channel as they were found: times in seconds and strengths.
struct Events {
    std::vector<double> times;
    std::vector<float> strengths;
};

// The events in ascending order of time; equal times in the order in which they were found.
std::vector<QelAudioAnalysisEvent> SortedEvents(const Events& events);

// Makes one block for each channel's sorted events. The blocks point at the events, which the
// caller keeps until the blocks are delivered.
void PrepareEventBlocks(AnalysisBlocks& blocks,
                        const std::vector<std::vector<QelAudioAnalysisEvent>>& channels);

// { timeName: [times], strengthName: [strengths] }, each time narrowed to a float. A block without
// data or too short for a list is an empty list.
CACFDictionary EventDictionary(const QelAudioAnalysisBlock& block, CFStringRef timeName,
                               CFStringRef strengthName);

} // namespace qel::core
