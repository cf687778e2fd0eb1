#include "platform/containers/CFAllocator.h"

#include "platform/containers/HashMix.h"

namespace qel::platform {

CFHashCode CFAllocator::Hash() const {
    return HashBytes(mName);
}

std::string CFAllocator::Describe() const {
    return mName;
}

namespace {

constinit const CFAllocator kSystemDefault("<CFAllocator system default>");
constinit const CFAllocator kMalloc("<CFAllocator malloc>");

} // namespace
} // namespace qel::platform

// Bare casts, which need no code at start.
const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFAllocatorRef kCFAllocatorSystemDefault =
    reinterpret_cast<CFAllocatorRef>(&qel::platform::kSystemDefault);
const CFAllocatorRef kCFAllocatorMalloc = reinterpret_cast<CFAllocatorRef>(&qel::platform::kMalloc);

CFTypeID CFAllocatorGetTypeID(void) {
    return TypeID(qel::platform::CFAllocator::kType);
}

CFAllocatorRef CFAllocatorGetDefault(void) {
    return kCFAllocatorSystemDefault;
}

CFAllocatorRef CFGetAllocator(CFTypeRef object) {
    return object == nullptr ? nullptr : kCFAllocatorSystemDefault;
}
