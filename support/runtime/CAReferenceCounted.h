#pragma once

#include <MacTypes.h>
#include <libkern/OSAtomic.h>

namespace qel::core {

// An object that several owners share. It starts with one owner; the release of the last one calls
// releaseObject. Retain and release may come from any thread.
class CAReferenceCounted {
public:
    CAReferenceCounted(const CAReferenceCounted&) = delete;
    CAReferenceCounted& operator=(const CAReferenceCounted&) = delete;

    void retain() { OSAtomicAdd32(1, &mRefCount); }
    void release() {
        if (OSAtomicAdd32(-1, &mRefCount) == 0) {
            releaseObject();
        }
    }

protected:
    CAReferenceCounted() = default;
    virtual ~CAReferenceCounted() = default;
    virtual void releaseObject() { delete this; }

private:
    volatile SInt32 mRefCount = 1;
};

} // namespace qel::core
