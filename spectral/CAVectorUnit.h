#pragma once

#include <MacTypes.h>

#include <atomic>

namespace qel::core {

// What vector instructions the processor offers. The answer is kept, and nothing in the library
// depends on it: the vector functions choose for themselves.
class CAVectorUnit {
public:
    enum : SInt32 {
        kVecNone = 0,
        kVecSSE2 = 100,
        kVecSSE3 = 101,
    };

    // Asks the system, keeps the answer in sVectorUnitType and returns it. Any thread.
    static SInt32 CheckVectorUnit();

    // kVecNone until the first check.
    static std::atomic<SInt32> sVectorUnitType;
};

} // namespace qel::core
