#pragma once

#include <QelAudioAnalysis/Keys.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace qel::tool {

// Keys whose results are read together, the beats being what the others tell about.
inline constexpr std::string_view kBeatKey = "beat data";
inline constexpr std::string_view kDownBeatKey = "down beat data";
inline constexpr std::string_view kBeatsPerBarKey = "global number of beats per bar";

// What the keys on a command line mean. Every row comes from the one table of keys.

// All keys, in the order of the table.
std::vector<const KeyInfo*> AllKeys();

// What is analyzed when nobody says: the keys that deliver while the audio goes by. Left out are
// those that deliver raw complex spectra, whose bulk is larger than the audio's, and those about
// the stream as a whole, for which the library keeps much of the audio in memory.
std::vector<const KeyInfo*> DefaultKeys();

// Keys whose results are events: what label tracks can show.
std::vector<const KeyInfo*> EventKeys();

// Keys that beats and their positions in the bar are known from.
std::vector<const KeyInfo*> BeatKeys();

// The row of one key. Throws UsageError, with the nearest known key as a hint.
const KeyInfo* RequireKey(std::string_view key);

// Keys of comma-separated lists, in the order of the table, each once. Blanks around a key do not
// count. Throws UsageError for a key that is unknown or empty.
std::vector<const KeyInfo*> ParseKeys(const std::vector<std::string>& lists);

// When results of a key come: "per push", "per frame" or "at end".
std::string_view DeliveryText(const KeyInfo& info);

// What stands for a channel in JSON: "numbers", one per name, or "arrays", one per name.
std::string_view LayoutText(const KeyInfo& info);

// The candidate with the fewest letters to insert, delete or replace (capitals do not count); empty
// if even that one has less than half of its letters in common.
std::string NearestName(std::string_view name, const std::vector<std::string>& candidates);

} // namespace qel::tool
