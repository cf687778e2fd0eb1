#pragma once

#include <cstddef>

namespace qel::output {

// A finite float takes at most so many characters: a sign, "0." and three zeros, nine digits; or 16
// digits; with some to spare, as whole words are copied.
inline constexpr std::size_t kMostFloatChars = 32;

// Writes a finite float as the shortest digits that read back as the same one, and returns the end.
// From 0.0001 to below 1e16 it has no exponent. The text is that of fmt's "{}", which tables and
// programs of users have been reading, at half of its time: most of the time of large tables is
// here.
char* WriteFloat(char* out, float value);

} // namespace qel::output
