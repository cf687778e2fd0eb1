#pragma once

namespace qel::batch {

// Memory that is given back when there is no other left, so that a worker can still tell that.
// There is one for the process: operator new asks for it where it would fail.
class MemoryReserve {
public:
    // Takes the reserve. Throws std::bad_alloc.
    static void Take();

    // Gives it back.
    static void Release();

    // Whether the process could have a few MiB more. If not, what a library says of a file may be
    // for want of memory.
    static bool IsMoreThere();

    MemoryReserve() = delete;
};

} // namespace qel::batch
