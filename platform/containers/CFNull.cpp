#include "platform/containers/CFNull.h"

#include "platform/containers/HashMix.h"

namespace qel::platform {

CFHashCode CFNull::Hash() const {
    return HashBytes("null");
}

std::string CFNull::Describe() const {
    return "null";
}

namespace {

constinit const CFNull kNull;

} // namespace
} // namespace qel::platform

// Bare casts, which need no code at start.
const CFNullRef kCFNull = reinterpret_cast<CFNullRef>(&qel::platform::kNull);

CFTypeID CFNullGetTypeID(void) {
    return TypeID(qel::platform::CFNull::kType);
}
