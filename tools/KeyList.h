#pragma once

#include <QelAudioAnalysis/Keys.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace qel::tool {

// What the keys on a command line mean. Every row comes from the one table of keys.

// All keys, in the order of the table.
std::vector<const KeyInfo*> AllKeys();

// What is analyzed when nobody says: all keys but those that deliver raw complex spectra, whose
// bulk is larger than the audio's.
std::vector<const KeyInfo*> DefaultKeys();

// The row of one key. Throws UsageError, with the nearest known key as a hint.
const KeyInfo* RequireKey(std::string_view key);

// Keys of comma-separated lists, in the order of the table, each once. Blanks around a key do not
// count. Throws UsageError for a key that is unknown or empty.
std::vector<const KeyInfo*> ParseKeys(const std::vector<std::string>& lists);

// The candidate with the fewest letters to insert, delete or replace (capitals do not count); empty
// if even that one has less than half of its letters in common.
std::string NearestName(std::string_view name, const std::vector<std::string>& candidates);

} // namespace qel::tool
