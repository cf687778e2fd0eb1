#pragma once

#include "platform/containers/CFObject.h"

#include <CoreFoundation/CFArray.h>

#include <vector>

namespace qel::platform {

// An array of values that its callbacks retain and compare. Indices are within range: the
// published functions see to that.
class CFArray final : public CFObject {
public:
    static constexpr TypeCode kType = TypeCode::kArray;

    // Retains `count` values. `capacity` is room to set aside, up to a limit.
    CFArray(CFAllocatorRef allocator, const CFArrayCallBacks& callBacks, const void* const* values,
            std::size_t count, std::size_t capacity, bool isMutable);
    ~CFArray();

    const CFArrayCallBacks& CallBacks() const noexcept { return mCallBacks; }
    bool IsMutable() const noexcept { return mIsMutable; }
    const std::vector<const void*>& Values() const noexcept { return mValues; }

    // `index` may be the count.
    void Insert(std::size_t index, const void* value);
    void Replace(std::size_t index, const void* value);
    void Remove(std::size_t index);
    void RemoveAll();

    bool AreEqual(const void* first, const void* second) const;

    // The same equal callback, and values that it finds equal, one by one.
    bool Equals(const CFObject& other) const override;
    CFHashCode Hash() const override;
    std::string Describe() const override;

private:
    void Destroy() const noexcept override { delete this; }

    const void* Retained(const void* value) const;
    void LetGo(const void* value) const;

    const CFAllocatorRef mAllocator;
    const CFArrayCallBacks mCallBacks;
    const bool mIsMutable;
    std::vector<const void*> mValues;
};

} // namespace qel::platform
