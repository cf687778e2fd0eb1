// What belongs to the client of a library and not to the library: the state of its thread and of
// its process, as far as a library could disturb it.
#pragma once

#include <string>

namespace qel::trust {

class ClientWorld {
public:
    // As it is now. Reading it changes nothing of it.
    static ClientWorld Now();

    // What differs, for a person to read; empty if nothing does.
    std::string Difference(const ClientWorld& other) const;

private:
    std::string mFloatingPoint; // both units' control words and flags
    int mErrno = 0;
    std::string mLocale;  // of the process, and that of the thread
    std::string mSignals; // every handler, with its flags and mask, and the thread's own mask
    std::string mDirectory;
    std::string mEnvironment;
    std::string mDescriptors; // the numbers that are open, and what stands after them
};

} // namespace qel::trust
