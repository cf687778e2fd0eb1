#pragma once

#include "tools/selftest/SelfTestSignal.h"

#include <QelAudioAnalysis/Keys.hpp>

#include <array>
#include <cstdint>
#include <iterator>
#include <string>

namespace qel::selftest {

// Digests by the place in the table of keys.
using Digests = std::array<std::uint64_t, std::size(kKeys)>;

// Analyzes the signal of that size with all keys. Raises Error if the library reports a fault.
Digests Analyze(SignalSize size);

// The digests of that signal which every machine is to give with this program's transforms.
const Digests& FrozenDigests(SignalSize size);

struct Report {
    std::string text;
    bool passed;
};

// A line per key, which says whether its digest is the frozen one, and a line about all.
Report CompareWithFrozen(const Digests& digests, SignalSize size);

// The source text of the frozen digests: of tools/selftest/digests-BACKEND.inc.
std::string SourceOfFrozen(const Digests& whole, const Digests& small);

} // namespace qel::selftest
