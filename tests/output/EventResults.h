#pragma once

#include "output/ResultWriter.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace qel::output {

// Events made by hand, one list per channel.
using EventLists = std::vector<std::vector<Event>>;

// Events at these times, all of strength 1.
std::vector<Event> At(const std::vector<double>& times);

// A key with events that has no meaning to the tool, as keys of later versions have none.
const KeyInfo& StrokeKey();

// A header of one file of audio with these keys.
FileHeader HeaderOf(const std::vector<const KeyInfo*>& keys, std::size_t channels);

// Hands a writer a result of its header's key, as the library would.
void WriteEvents(ResultWriter& writer, const FileHeader& header, std::size_t key,
                 const EventLists& channels);
void WriteCounts(ResultWriter& writer, const FileHeader& header, std::size_t key,
                 std::vector<std::uint32_t> channels);

} // namespace qel::output
