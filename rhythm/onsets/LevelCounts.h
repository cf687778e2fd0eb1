#pragma once

#include <cstddef>

namespace qel::core {

// How many values of a vector are above a level, and how many are not. NaNs count as neither.
struct LevelCounts {
    std::size_t notAbove = 0;
    std::size_t above = 0;
};

// Counts `n` more values, below 2^31. Any thread; no allocation.
void AddLevelCounts(const float* x, std::size_t n, float level, LevelCounts& counts);

} // namespace qel::core
