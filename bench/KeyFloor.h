#pragma once

#include <QelAudioAnalysis.hpp>

#include <string>

namespace qel::bench {

// What the work of a key cannot go below: the bare transforms of its frames; of onsets, which have
// no frames, the recursion of their filters. Keys with the same frames share a floor.
struct KeyFloor {
    unsigned frameSamples; // 0: the filters of onsets
    unsigned hopSamples;
    unsigned transformSamples; // zeros follow the frame
    unsigned windows;          // transforms per frame

    static KeyFloor Of(const KeyInfo& key);

    // Of all keys with this floor and of no others.
    std::string Name() const;
};

} // namespace qel::bench
