#include "spectral/CAVectorUnit.h"

#include <sys/sysctl.h>

#include <cstddef>

namespace qel::core {

namespace {

bool Offers(const char* name) {
    int value = 0;
    std::size_t bytes = sizeof value;
    return sysctlbyname(name, &value, &bytes, nullptr, 0) == 0 && value != 0;
}

} // namespace

std::atomic<SInt32> CAVectorUnit::sVectorUnitType{kVecNone};

SInt32 CAVectorUnit::CheckVectorUnit() {
    SInt32 type = kVecNone;
    if (Offers("hw.optional.sse3")) {
        type = kVecSSE3;
    } else if (Offers("hw.optional.sse2")) {
        type = kVecSSE2;
    }
    sVectorUnitType = type;
    return type;
}

} // namespace qel::core
