// The thirty keys by the groups that share an analysis.
#pragma once

#include "tests/trust/Digests.h"

#include <ostream>
#include <string>
#include <vector>

namespace qel::trust {

struct KeyGroup {
    std::string name; // letters alone, for names of tests
    std::vector<std::string> keys;

    friend void PrintTo(const KeyGroup& group, std::ostream* out) { *out << group.name; }
};

inline std::vector<KeyGroup> KeyGroups() {
    return {
        {"Descriptors",
         {"temporal properties", "generic spectrum properties", "spectrum histogram properties",
          "spectrum peak properties", "spectrum flux properties", "spectrum"}},
        {"Phases", {"phase properties"}},
        {"AccentBands", {"gamma tome spectrum"}},
        {"RunningTempo", {"tempo"}},
        {"Mel", {"mel frequency cepstral coefficients", "mel spectrum"}},
        {"Beats",
         {"global tempo", "beat data", "global number of beats per bar", "down beat data"}},
        {"Onsets", {"onset data"}},
        {"ConstantQ", {"constant q spectrum", "harmonic pitch class profile"}},
        {"PitchClasses",
         {"pitch class profile", "pitch class porofile key correlation", "dominant key",
          "pitch class profile tonal centroid", "global key"}},
        {"Partials", {"partials", "fundamental frequency", "inharmonicity"}},
        {"Cepstrum", {"cepstrum"}},
        {"InstantaneousFrequency", {"instantaneous frequency"}},
        {"Range", {"audio range"}},
        {"Reassigned", {"reasigned spectrum"}},
    };
}

} // namespace qel::trust
