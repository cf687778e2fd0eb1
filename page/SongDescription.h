#pragma once

#include "page/Song.h"

#include <nlohmann/json.hpp>

namespace qel::page {

// What the card of a song says, and its row in a table of songs: file, format and readings, with
// null for what was not found.
nlohmann::ordered_json DescribeSong(const Song& song);

} // namespace qel::page
