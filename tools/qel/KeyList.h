#pragma once

#include <QelAudioAnalysis/Keys.hpp>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace qel::tool {

// What the keys on a command line mean. Every row comes from the one table of keys.

// All keys, in the order of the table.
std::vector<const KeyInfo*> AllKeys();

// Their names, in the same order.
std::vector<std::string> NamesOf(const std::vector<const KeyInfo*>& keys);

// Keys that deliver more numbers than this for a frame of a channel, or lists of any length, are
// analyzed only where they are asked for: their results can be larger than the audio.
inline constexpr std::size_t kMostDefaultNumbers = 64;

// What is analyzed when nobody says: the keys that deliver while the audio goes by, and not more
// than kMostDefaultNumbers a frame. For those about the stream as a whole, which are left out, the
// library keeps much of the audio in memory.
std::vector<const KeyInfo*> DefaultKeys();
bool IsDefault(const KeyInfo& info);

// What label tracks can show: keys whose results are events, or a name per frame.
std::vector<const KeyInfo*> LabelKeys();

// Keys that beats and their positions in the bar are known from.
std::vector<const KeyInfo*> BeatKeys();

// The row of one key, which an alias may name. Throws UsageError, with the nearest known name as a
// hint.
const KeyInfo* RequireKey(std::string_view key);

// Keys of comma-separated lists, in the order of the table, each once. Blanks around a key do not
// count. Throws UsageError for a key that is unknown or empty.
std::vector<const KeyInfo*> ParseKeys(const std::vector<std::string>& lists);

// The entries of comma-separated lists, without the blanks around them.
std::vector<std::string> SplitList(const std::vector<std::string>& lists);

// The candidate with the fewest letters to insert, delete or replace (capitals do not count); empty
// if even that one has less than half of its letters in common.
std::string NearestName(std::string_view name, const std::vector<std::string>& candidates);

} // namespace qel::tool
