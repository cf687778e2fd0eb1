#include "page/TempoCurve.h"

#include <algorithm>
#include <cstddef>

namespace qel::page {

std::vector<float> TempoOfBeats(std::span<const double> beatSeconds) {
    constexpr std::size_t kReach = 2; // beats on each side
    std::vector<float> tempi;
    for (std::size_t i = 0; i < beatSeconds.size(); ++i) {
        const std::size_t first = i - std::min(i, kReach);
        const std::size_t last = std::min(i + kReach, beatSeconds.size() - 1);
        const double seconds = beatSeconds[last] - beatSeconds[first];
        tempi.push_back(
            seconds > 0 ? static_cast<float>(60 * static_cast<double>(last - first) / seconds) : 0);
    }
    return tempi;
}

} // namespace qel::page
