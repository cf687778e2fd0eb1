#include "output/RegionCollector.h"

namespace qel::output {

void RegionCollector::Add(const Result& result, double frameSeconds) {
    const double start = result.timeSeconds();
    Channels& channels = mRegions[std::string(result.key())];
    channels.resize(result.channels());
    for (std::size_t c = 0; c < result.channels(); ++c) {
        std::vector<Region>& regions = channels[c];
        const std::string name = result.name(c);
        if (regions.empty() || regions.back().text != name) {
            if (!regions.empty()) {
                regions.back().endSeconds = start;
            }
            regions.push_back({start, start, name});
        }
        regions.back().endSeconds = start + frameSeconds;
    }
}

const std::vector<Region>& RegionCollector::Regions(std::string_view key,
                                                    std::size_t channel) const {
    static const std::vector<Region> kNone;
    const auto found = mRegions.find(key);
    return found == mRegions.end() || channel >= found->second.size() ? kNone
                                                                      : found->second[channel];
}

} // namespace qel::output
