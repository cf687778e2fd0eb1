#include "readings/stream/RunningMedian.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace qel::readings {

std::vector<float> runningMedian(std::span<const float> values, std::size_t length) {
    const std::size_t reach = std::max<std::size_t>(length, 1);
    std::vector<float> sorted; // of the window
    std::vector<float> medians;
    medians.reserve(values.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (i >= reach && !std::isnan(values[i - reach])) {
            sorted.erase(std::ranges::lower_bound(sorted, values[i - reach]));
        }
        if (!std::isnan(values[i])) {
            sorted.insert(std::ranges::upper_bound(sorted, values[i]), values[i]);
        }
        medians.push_back(sorted.empty() ? std::numeric_limits<float>::quiet_NaN()
                                         : sorted[(sorted.size() - 1) / 2]);
    }
    return medians;
}

} // namespace qel::readings
