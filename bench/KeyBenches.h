#pragma once

namespace qel::bench {

// Registers what is measured of the library itself, by names that tell the kind:
//
//   key/NAME      one key alone over a minute
//   group/NAME    several keys at once
//   floor/NAME    the floor of keys or groups
//
// Every bench reports the minutes that it analyzes, and as its label the names of its floors, one
// or several joined by " + ".
void RegisterKeyBenches();

} // namespace qel::bench
