#include "page/pictures/RowMap.h"

#include <algorithm>
#include <cmath>

namespace qel::page {
namespace {

double MelOf(double hz) {
    return 2595 * std::log10(1 + hz / 700);
}

double HzOf(double mel) {
    return 700 * (std::pow(10, mel / 2595) - 1);
}

} // namespace

RowMap::RowMap(double sampleRateHz, std::size_t bins, std::size_t rows) {
    const double highest = MelOf(sampleRateHz / 2);
    const double binHz = sampleRateHz / (2 * static_cast<double>(bins));
    const auto binOf = [&](double row) {
        return HzOf(highest * row / static_cast<double>(rows)) / binHz;
    };
    const auto place = [&](double bin) {
        return std::min(static_cast<std::size_t>(std::max(bin, 0.0)), bins - 1);
    };
    for (std::size_t row = 0; row < rows; ++row) {
        const auto number = static_cast<double>(row);
        const std::size_t first = place(std::ceil(binOf(number)));
        const bool isLast = row + 1 == rows;
        const std::size_t end = isLast ? bins : place(std::ceil(binOf(number + 1)));
        const bool isEmpty = end <= first;
        const std::size_t nearest = place(std::round(binOf(number + 0.5)));
        mFirst.push_back(isEmpty ? nearest : first);
        mEnd.push_back(isEmpty ? nearest + 1 : end);
    }
}

void RowMap::Fill(std::span<const float> bins, std::span<float> rows) const {
    for (std::size_t row = 0; row < rows.size(); ++row) {
        rows[row] = *std::max_element(bins.data() + mFirst[row], bins.data() + mEnd[row]);
    }
}

} // namespace qel::page
