// A copy of this process in which memory is short, and how it ends.
#pragma once

#include <cstddef>
#include <functional>
#include <ostream>

namespace qel::trust {

struct Ending {
    enum class Kind { kReturned, kRaisedBadAlloc, kRaised, kSignal, kWaits, kNotStarted };

    Kind kind = Kind::kNotStarted;
    int value = 0; // what it returned, or the signal

    bool operator==(const Ending&) const = default;
    friend void PrintTo(const Ending& ending, std::ostream* out);
};

// Runs `body` in a copy of this process that may take `spareBytes` of addresses beyond what it has,
// and finds no free memory in what it has. Its result is 0 to 127. A copy that goes on for more
// than ten seconds is ended, and counts as one that waits.
Ending RunShortOfMemory(std::size_t spareBytes, const std::function<int()>& body);

// The spare bytes of addresses that `body` takes, where there are enough.
std::size_t AddressesTaken(const std::function<int()>& body);

} // namespace qel::trust
