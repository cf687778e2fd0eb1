#include "readings/stream/Curve.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <numeric>
#include <vector>

namespace qel::readings {
namespace {

// From 2 frames before to 3 frames after a frame.
std::span<const float> valuesAround(std::span<const float> curve, double frame) {
    const auto middle = static_cast<std::size_t>(std::max(frame, 0.0));
    if (middle >= curve.size()) {
        return {};
    }
    const std::size_t first = middle - std::min<std::size_t>(middle, 2);
    const std::size_t end = std::min(middle + 4, curve.size());
    return curve.subspan(first, end - first);
}

} // namespace

float quantile(std::span<const float> curve, double share) {
    if (curve.empty()) {
        return 0;
    }
    std::vector<float> values(curve.begin(), curve.end());
    const auto place = static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), values.begin() + place, values.end());
    return values[static_cast<std::size_t>(place)];
}

double meanOfGreatest(std::span<const float> curve, double share) {
    if (curve.empty()) {
        return 0;
    }
    std::vector<float> values(curve.begin(), curve.end());
    const double wanted = std::floor(share * static_cast<double>(values.size()));
    const auto count = static_cast<std::ptrdiff_t>(std::max(wanted, 1.0));
    std::partial_sort(values.begin(), values.begin() + count, values.end(), std::greater<>());
    return std::accumulate(values.begin(), values.begin() + count, 0.0) /
           static_cast<double>(count);
}

double greatestAround(std::span<const float> curve, double frame) {
    const std::span<const float> around = valuesAround(curve, frame);
    return around.empty() ? 0 : *std::ranges::max_element(around);
}

double sumAround(std::span<const float> curve, double frame) {
    const std::span<const float> around = valuesAround(curve, frame);
    return std::accumulate(around.begin(), around.end(), 0.0);
}

double autocorrelation(std::span<const float> curve, double lag) {
    const auto nearest = static_cast<std::size_t>(std::lround(lag));
    if (nearest < 2 || nearest + 2 >= curve.size()) {
        return 0;
    }
    double sum = 0;
    for (const float value : curve) {
        sum += value;
    }
    const double mean = sum / static_cast<double>(curve.size());
    double power = 0;
    for (const float value : curve) {
        power += (value - mean) * (value - mean);
    }
    if (power <= 0) {
        return 0;
    }
    double greatest = -power;
    for (std::size_t shift = nearest - 1; shift <= nearest + 1; ++shift) {
        double products = 0;
        for (std::size_t t = shift; t < curve.size(); ++t) {
            products += (curve[t] - mean) * (curve[t - shift] - mean);
        }
        greatest = std::max(greatest, products);
    }
    return greatest / power;
}

} // namespace qel::readings
