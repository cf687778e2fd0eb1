// All parameters of this version of the library.
//
// The library accepts any float. Values outside the ranges of this table are not useful, and their
// effects are not promised.
#pragma once

#include <span>
#include <string_view>

namespace qel {

// One parameter.
struct ParameterInfo {
    std::string_view name; // exactly as in QelAudioAnalysisSetParameter
    std::string_view unit; // "1" for a pure number
    float minimum;         // the range includes both ends
    float maximum;
    float standard; // the value of a new analyzer
    bool isWhole;   // a whole number: the library drops a fraction
    std::span<const std::string_view> keys;
    std::string_view definition;
};

namespace detail {

inline constexpr std::string_view kTempoKeys[] = {"tempo"};
inline constexpr std::string_view kGlobalTempoKeys[] = {
    "global tempo", "global number of beats per bar", "beat data", "down beat data"};
inline constexpr std::string_view kOnsetKeys[] = {"onset data"};

} // namespace detail

inline constexpr ParameterInfo kParameters[] = {
    {"Min BPM", "BPM", 1, 1000, 20, false, detail::kTempoKeys, "The slowest tempo to look for."},
    {"Max BPM", "BPM", 1, 1000, 280, false, detail::kTempoKeys, "The fastest tempo to look for."},
    {"complexity", "1", 0, 2, 0, true, detail::kTempoKeys,
     "Combs reach 128, 256 or 512 accents for 0, 1 and 2, which finds slower tempi."},
    {"Genre Hint", "1", 0, 1, 1, true, detail::kGlobalTempoKeys,
     "The range of tempi: 50 to 220 BPM for 1, 20 to 110 BPM for 0."},
    {"Onset Sensitivity", "%", 0, 100, 80, false, detail::kOnsetKeys,
     "More gives a shorter window and more onsets."},
};

// The row of a parameter; null if there is none.
constexpr const ParameterInfo* findParameter(std::string_view name) noexcept {
    for (const ParameterInfo& row : kParameters) {
        if (row.name == name) {
            return &row;
        }
    }
    return nullptr;
}

} // namespace qel
