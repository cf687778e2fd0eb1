#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <new>
#include <utility>

namespace qel::core {

// A made object, or std::bad_alloc: making one gives null only when memory runs out. Without this,
// a container would silently lack what did not fit.
template <class Ref>
Ref MadeOrThrow(Ref object) {
    if (object == nullptr) {
        throw std::bad_alloc();
    }
    return object;
}

// What the container wrappers share: an object, which may be null, and the release flag. Only with
// the flag set does a wrapper take and give back references; without it the object is borrowed, or
// passes to whoever reads it out. One thread at a time.
template <class Ref>
class CACFReference {
public:
    // No object; what is assigned later is released.
    CACFReference() = default;
    // Takes the object over as the flag says, without a retain.
    CACFReference(Ref object, bool release) : mObject(object), mRelease(release) {}
    CACFReference(const CACFReference& other) : mObject(other.mObject), mRelease(other.mRelease) {
        Retain();
    }
    CACFReference& operator=(const CACFReference& other) {
        CACFReference copy(other);
        std::swap(mObject, copy.mObject);
        std::swap(mRelease, copy.mRelease);
        return *this;
    }
    ~CACFReference() { Release(); }

    // One reference more, and one less, if the release flag is set and there is an object.
    void Retain() const {
        if (mRelease && mObject != nullptr) {
            CFRetain(mObject);
        }
    }
    void Release() const {
        if (mRelease && mObject != nullptr) {
            CFRelease(mObject);
        }
    }

    bool IsValid() const { return mObject != nullptr; }
    bool WillRelease() const { return mRelease; }
    // The object, without a new reference.
    CFPropertyListRef AsPropertyList() const { return mObject; }

protected:
    Ref Object() const { return mObject; }

    // Releases the old object, takes the new one, and retains it.
    void Share(Ref object) {
        const CACFReference old(std::exchange(mObject, object), mRelease);
        Retain();
    }
    // Releases the old object and takes the new one over with its reference.
    void TakeOver(Ref object) {
        const CACFReference old(std::exchange(mObject, object), std::exchange(mRelease, true));
    }

private:
    Ref mObject = nullptr;
    bool mRelease = true;
};

} // namespace qel::core
