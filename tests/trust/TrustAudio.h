// Audio in which every key finds something.
#pragma once

#include "tests/harness/TestAnalyzer.h"

#include <cstddef>

namespace qel::trust {

// Music with a stroke every half second, every fourth of them loud: a tempo, a meter and onsets in
// three seconds. The channels differ.
test::Audio MusicWithStrokes(double rateHz, UInt32 channels, std::size_t frames);

} // namespace qel::trust
