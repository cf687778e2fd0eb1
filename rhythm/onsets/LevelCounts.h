#pragma once

#include <cstddef>

namespace qel::core {

// How the values of a vector stand to a level. What is no number stands nowhere.
struct LevelCounts {
    std::size_t notAbove = 0;
    std::size_t above = 0;
};

// Counts `n` more values, below 2^31. Any thread; no allocation.
void AddLevelCounts(const float* x, std::size_t n, float level, LevelCounts& counts);

} // namespace qel::core
