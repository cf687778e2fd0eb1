#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace qel::page {

// A matrix of values over time, as indices of colours: columns of equal length one after the other,
// each with its rows from the lowest one up.
struct Picture {
    std::size_t rows = 0;
    double firstSeconds = 0;  // where the first column begins
    double columnSeconds = 0; // how long each lasts
    bool isDecibels = true;
    double lowest = 0;  // the value of index 0, and of everything below it
    double highest = 0; // of the last index
    std::vector<std::uint8_t> values;

    std::size_t Columns() const { return rows > 0 ? values.size() / rows : 0; }
};

// The picture with `factor` columns in each of its own, of which the greatest value stays. The last
// one may stand for fewer.
Picture Reduced(const Picture& picture, std::size_t factor);

} // namespace qel::page
