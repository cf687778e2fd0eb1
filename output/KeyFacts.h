#pragma once

#include <QelAudioAnalysis/KeyInfo.hpp>

#include <string_view>

namespace qel::output {

// Keys whose results are read together, the beats being what the others tell about.
inline constexpr std::string_view kBeatKey = "beat data";
inline constexpr std::string_view kDownBeatKey = "down beat data";
inline constexpr std::string_view kBeatsPerBarKey = "global number of beats per bar";

// When results of a key come: "per push", "per frame", "at end" or "frames at end".
std::string_view DeliveryText(const KeyInfo& info);

// Whether a key gives results one frame after another.
bool HasFrames(const KeyInfo& info);

} // namespace qel::output
