#pragma once

#include <cstddef>

namespace qel::bench {

// The most memory that this program ever had resident, in bytes. Unlike getrusage's figure it knows
// nothing of the program that started this one.
std::size_t PeakResidentBytes();

} // namespace qel::bench
