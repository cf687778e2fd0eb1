#include "output/BarPositions.h"

#include <algorithm>

namespace qel::output {
namespace {

// Down beats are beats, with the same number for their time.
bool IsAmong(const Event& beat, std::span<const Event> downBeats) {
    return std::binary_search(
        downBeats.begin(), downBeats.end(), beat,
        [](const Event& a, const Event& b) { return a.timeSeconds < b.timeSeconds; });
}

} // namespace

std::vector<std::size_t> BarPositions(std::span<const Event> beats,
                                      std::span<const Event> downBeats, std::uint32_t beatsPerBar) {
    std::vector<std::size_t> positions(beats.size());
    std::vector<std::size_t> bars; // indices of the beats that begin one
    for (std::size_t i = 0; i < beats.size(); ++i) {
        if (IsAmong(beats[i], downBeats)) {
            bars.push_back(i);
        }
        if (!bars.empty()) {
            positions[i] = i - bars.back() + 1;
        }
    }
    const std::size_t distance = bars.size() > 1 ? bars[1] - bars[0] : 0;
    const std::size_t length = beatsPerBar != 0 ? beatsPerBar : distance;
    const std::size_t pickup = bars.empty() ? 0 : bars[0];
    for (std::size_t back = 1; back < length && back <= pickup; ++back) {
        positions[pickup - back] = length + 1 - back;
    }
    return positions;
}

} // namespace qel::output
