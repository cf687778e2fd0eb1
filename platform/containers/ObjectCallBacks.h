#pragma once

#include <CoreFoundation/CFBase.h>

namespace qel::platform {

// CFRetain and CFRelease, in the form of a container's callbacks.
inline const void* RetainObject(CFAllocatorRef, const void* object) {
    return CFRetain(object);
}
inline void ReleaseObject(CFAllocatorRef, const void* object) {
    CFRelease(object);
}

} // namespace qel::platform
