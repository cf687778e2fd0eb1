#pragma once

#include <cstddef>
#include <cstdint>

namespace qel::core {

constexpr std::size_t kTableLanes = 8;

// By the bits of a mask: how many are set, and which, the lowest first; then zeros.
struct LaneTable {
    constexpr LaneTable() {
        for (std::size_t bits = 0; bits < 256; ++bits) {
            for (std::uint8_t lane = 0; lane < kTableLanes; ++lane) {
                if (bits >> lane & 1) {
                    lanes[bits][counts[bits]++] = lane;
                }
            }
        }
    }

    std::uint8_t lanes[256][kTableLanes] = {};
    std::uint8_t counts[256] = {};
};

inline constexpr LaneTable kLaneTable;

} // namespace qel::core
