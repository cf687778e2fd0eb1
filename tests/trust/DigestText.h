// What the test of determinism and its second process have in common.
#pragma once

#include "tests/trust/Stream.h"

#include <cstdio>
#include <string>

namespace qel::trust {

// One channel: with more, "onset data" depends on how the audio is cut, as meant.
inline Stream DigestStream() {
    return Stream(11025, 1, 36864, {1536, 512, 4096});
}

// A line per key.
inline std::string DigestText(const Digests& digests) {
    std::string text;
    for (std::size_t i = 0; i < std::size(kKeys); ++i) {
        char number[20];
        std::snprintf(number, sizeof number, "%016llx",
                      static_cast<unsigned long long>(digests[i].Value()));
        text.append(number).append(" ").append(kKeys[i].key).append("\n");
    }
    return text;
}

} // namespace qel::trust
