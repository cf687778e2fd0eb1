#pragma once

#include <nlohmann/json.hpp>

#include <filesystem>
#include <optional>

namespace qel::page {

// What a page that was written says about itself, as PageWriter::Describe got it. Empty for a file
// that is no page.
std::optional<nlohmann::ordered_json> DescriptionOf(const std::filesystem::path& page);

// The song of a page that was written by this version from this file as it is now, with or without
// its sound: what DescribeSong says. Empty if there is no such page.
std::optional<nlohmann::ordered_json>
CurrentSongOf(const std::filesystem::path& page, const std::filesystem::path& file, bool hasAudio);

} // namespace qel::page
