// Memory that runs out on demand, and a count of what is held. Linked into a program,
// MemoryGate.cpp replaces operator new and the malloc family of the whole process, its libraries
// included.
#pragma once

#include <cstddef>
#include <ostream>

namespace qel::trust {

class MemoryGate {
public:
    enum class Refuse { kOnce, kFromThenOn };

    friend void PrintTo(Refuse refuse, std::ostream* out) {
        *out << (refuse == Refuse::kOnce ? "Once" : "FromThenOn");
    }

    // Lets `granted` further requests of this thread through and refuses the next one, or that and
    // all others.
    static void Close(long granted, Refuse refuse);

    // Whether a request was refused since the gate was closed.
    static bool HasRefused();

    // Whether the request that was refused first since then was one of aligned_alloc, by which FFTW
    // gets its memory. A reserve stands by there, so that nobody needs to be told.
    static bool HasRefusedFFTW();

    // Lets all through again. Returns whether a request was refused.
    static bool Open();

    // Requests of this thread so far that could have been refused.
    static long Requests();

    // Bytes of the largest such request since this was last asked, 0 if there was none.
    static std::size_t TakeLargestRequest();

    // Blocks that the process holds: requests granted less blocks given back.
    static long Live();
};

} // namespace qel::trust
