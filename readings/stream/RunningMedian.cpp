#include "readings/stream/RunningMedian.h"

#include <algorithm>

namespace qel::readings {

std::vector<float> runningMedian(std::span<const float> values, std::size_t length) {
    std::vector<float> sorted; // of the window
    std::vector<float> medians;
    medians.reserve(values.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (sorted.size() == std::max<std::size_t>(length, 1)) {
            sorted.erase(std::ranges::lower_bound(sorted, values[i - sorted.size()]));
        }
        sorted.insert(std::ranges::upper_bound(sorted, values[i]), values[i]);
        medians.push_back(sorted[(sorted.size() - 1) / 2]);
    }
    return medians;
}

} // namespace qel::readings
