// Short and correctly spelled names of keys. The client and the tool accept them wherever they
// accept a key; the twelve functions do not know them. Results carry the name of the key.
#pragma once

#include <QelAudioAnalysis/Keys.hpp>

#include <string_view>

namespace qel {

// Another name of a key.
struct KeyAlias {
    std::string_view alias;
    std::string_view key;
};

// In the order of the table of keys. An alias is never the name of a key.
inline constexpr KeyAlias kKeyAliases[] = {
    {"mfcc", "mel frequency cepstral coefficients"},
    {"gammatone spectrum", "gamma tome spectrum"},
    {"gammatone", "gamma tome spectrum"},
    {"constant-q", "constant q spectrum"},
    {"chroma", "pitch class profile"},
    {"pitch class profile key correlation", "pitch class porofile key correlation"},
    {"key-correlation", "pitch class porofile key correlation"},
    {"tonal-centroid", "pitch class profile tonal centroid"},
    {"beats-per-bar", "global number of beats per bar"},
    {"onsets", "onset data"},
    {"beats", "beat data"},
    {"downbeats", "down beat data"},
    {"reassigned spectrum", "reasigned spectrum"},
};

// The key of a name: that of an alias, otherwise the name itself.
constexpr std::string_view keyNamed(std::string_view name) noexcept {
    for (const KeyAlias& row : kKeyAliases) {
        if (row.alias == name) {
            return row.key;
        }
    }
    return name;
}

} // namespace qel
