#pragma once

#include <QelAudioAnalysis/Result.hpp>

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace qel::output {

// A stretch of a file of audio with one text.
struct Region {
    double startSeconds = 0;
    double endSeconds = 0;
    std::string text;
};

// The regions of a file in which the name that a key delivers per frame stays the same, by key and
// channel. A region ends where the next one begins.
class RegionCollector {
public:
    void Clear() { mRegions.clear(); }

    // Takes a result of names in, the results of a key in ascending order of time. frameSeconds is
    // the length of its frame: the last region of all ends where its last frame does.
    void Add(const Result& result, double frameSeconds);

    // Empty if there are none.
    const std::vector<Region>& Regions(std::string_view key, std::size_t channel) const;

private:
    using Channels = std::vector<std::vector<Region>>;

    std::map<std::string, Channels, std::less<>> mRegions;
};

} // namespace qel::output
