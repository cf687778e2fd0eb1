#include "platform/containers/CFBoolean.h"

#include "platform/containers/HashMix.h"

namespace qel::platform {

bool CFBoolean::Equals(const CFObject& other) const {
    return static_cast<const CFBoolean&>(other).mValue == mValue;
}

CFHashCode CFBoolean::Hash() const {
    return HashBytes(mValue ? "true" : "false");
}

std::string CFBoolean::Describe() const {
    return mValue ? "true" : "false";
}

namespace {

constinit const CFBoolean kTrue(true);
constinit const CFBoolean kFalse(false);

} // namespace
} // namespace qel::platform

// Bare casts, which need no code at start.
const CFBooleanRef kCFBooleanTrue = reinterpret_cast<CFBooleanRef>(&qel::platform::kTrue);
const CFBooleanRef kCFBooleanFalse = reinterpret_cast<CFBooleanRef>(&qel::platform::kFalse);

CFTypeID CFBooleanGetTypeID(void) {
    return TypeID(qel::platform::CFBoolean::kType);
}

Boolean CFBooleanGetValue(CFBooleanRef boolean) {
    const auto* object = qel::platform::CastTo<qel::platform::CFBoolean>(boolean);
    return object != nullptr && object->Value();
}
