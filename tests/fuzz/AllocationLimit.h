// For fuzz targets in which memory may run out: linked in, AllocationLimit.cpp replaces operator
// new and delete of the whole program, its libraries included, and has the address checker answer
// requests to the malloc family that are too large with null instead of ending the program.
#pragma once

#include <cstddef>

namespace qel::fuzz {

// operator new throws std::bad_alloc for a block above the first, and where all of its blocks
// together would exceed the second.
inline constexpr std::size_t kLargestBlock = std::size_t{128} << 20;
inline constexpr std::size_t kLargestSum = std::size_t{1} << 30;

// Has the allocation after the next `count` ones of this thread fail, and that one only. Of
// operator new alone.
void FailAllocationAfter(std::size_t count);

// No more failures by FailAllocationAfter. Returns whether there was one.
bool EndAllocationFailures();

} // namespace qel::fuzz
