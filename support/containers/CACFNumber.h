#pragma once

#include "support/containers/CACFReference.h"

namespace qel::core {

// A CFBoolean in a wrapper.
class CACFBoolean : public CACFReference<CFBooleanRef> {
public:
    explicit CACFBoolean(bool value);
    CACFBoolean(CFBooleanRef boolean, bool release) : CACFReference(boolean, release) {}

    CFBooleanRef GetCFBoolean() const { return Object(); }
};

// A CFNumber in a wrapper. A number made from a value has the value's own type, and the wrapper
// releases it. There are no unsigned numbers of this kind: a 32-bit one beyond the signed range
// becomes a 64-bit number, and a 64-bit one beyond it the negative number of the same bits.
class CACFNumber : public CACFReference<CFNumberRef> {
public:
    explicit CACFNumber(Float32 value);
    explicit CACFNumber(Float64 value);
    explicit CACFNumber(SInt32 value);
    explicit CACFNumber(UInt32 value);
    explicit CACFNumber(SInt64 value);
    explicit CACFNumber(UInt64 value);
    CACFNumber(CFNumberRef number, bool release) : CACFReference(number, release) {}

    CFNumberRef GetCFNumber() const { return Object(); }
};

} // namespace qel::core
