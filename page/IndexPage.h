#pragma once

#include "page/PageWriter.h"

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace qel::page {

// A song in the table of songs.
struct IndexEntry {
    std::string page;            // relative to the index; empty: it has none
    std::string error;           // why it has none
    nlohmann::ordered_json song; // DescribeSong, or the name alone
};

// Writes the page that compares songs in a table.
void WriteIndexPage(PageWriter& page, const std::vector<IndexEntry>& entries);

} // namespace qel::page
