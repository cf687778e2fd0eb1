#pragma once

#include <cstdint>

namespace qel::batch {

// Which part of the sorted list: part `index` of `count`, from 1 on.
struct Shard {
    std::int64_t index = 1;
    std::int64_t count = 1;

    // Whether the file at a position of the list, from 0 on, is one of this part.
    bool Has(std::int64_t position) const { return position % count == index - 1; }
};

} // namespace qel::batch
