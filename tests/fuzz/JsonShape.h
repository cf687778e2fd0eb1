// The shape that docs/output.md gives the JSON of "qel analyze".
#pragma once

#include <nlohmann/json_fwd.hpp>

namespace qel::fuzz {

// Ends the program unless an entry of "files" has the members that it must have, and every array
// the lengths that others say. An entry with an error has nothing but its file and that.
void CheckEntry(const nlohmann::json& entry);

} // namespace qel::fuzz
