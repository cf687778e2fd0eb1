#pragma once

#include "output/ResultWriter.h"
#include "tools/qel/Options.h"

#include <QelAudioAnalysis/KeyInfo.hpp>
#include <QelMedia.hpp>

#include <cstdint>
#include <vector>

namespace qel::tool {

// What is the same for every file of a run.
struct AnalysisPlan {
    std::vector<const KeyInfo*> keys;
    std::vector<output::Parameter> parameters;
    media::ChannelMix mix = media::ChannelMix::Mono;
    std::uint32_t blockSamples = 4096;
    float minStrength = 0; // weaker events are not written
};

// What the options ask for. Before any file is looked at, it refuses keys that the format has no
// place for, a size of blocks that some key does not take, and parameters that none of the keys
// has: throws UsageError.
AnalysisPlan MakePlan(const AnalyzeOptions& options);

} // namespace qel::tool
