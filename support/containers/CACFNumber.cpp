#include "support/containers/CACFNumber.h"

#include <limits>

namespace qel::core {

namespace {

template <class T>
CFNumberRef Create(CFNumberType type, T value) {
    return MadeOrThrow(CFNumberCreate(kCFAllocatorDefault, type, &value));
}

CFNumberRef CreateUnsigned(UInt32 value) {
    return value <= static_cast<UInt32>(std::numeric_limits<SInt32>::max())
               ? Create(kCFNumberSInt32Type, static_cast<SInt32>(value))
               : Create(kCFNumberSInt64Type, SInt64{value});
}

} // namespace

CACFBoolean::CACFBoolean(bool value)
    : CACFReference(value ? kCFBooleanTrue : kCFBooleanFalse, true) {
    Retain();
}

CACFNumber::CACFNumber(Float32 value) : CACFReference(Create(kCFNumberFloat32Type, value), true) {}
CACFNumber::CACFNumber(Float64 value) : CACFReference(Create(kCFNumberFloat64Type, value), true) {}
CACFNumber::CACFNumber(SInt32 value) : CACFReference(Create(kCFNumberSInt32Type, value), true) {}
CACFNumber::CACFNumber(UInt32 value) : CACFReference(CreateUnsigned(value), true) {}
CACFNumber::CACFNumber(SInt64 value) : CACFReference(Create(kCFNumberSInt64Type, value), true) {}
CACFNumber::CACFNumber(UInt64 value) : CACFNumber(static_cast<SInt64>(value)) {}

} // namespace qel::core
