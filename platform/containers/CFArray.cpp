#include "platform/containers/CFArray.h"

#include "platform/containers/Description.h"
#include "platform/containers/HashMix.h"

#include <algorithm>
#include <utility>

namespace qel::platform {
namespace {

// The most room that a capacity sets aside: it is a hint, and may be far off.
constexpr std::size_t kMaximumReserve = 65536;

} // namespace

CFArray::CFArray(CFAllocatorRef allocator, const CFArrayCallBacks& callBacks,
                 const void* const* values, std::size_t count, std::size_t capacity, bool isMutable)
    : CFObject(kType, Lifetime::kCounted), mAllocator(allocator), mCallBacks(callBacks),
      mIsMutable(isMutable) {
    mValues.reserve(std::max(count, std::min(capacity, kMaximumReserve)));
    // From here on there is room, so that nothing is retained and then forgotten.
    for (std::size_t i = 0; i < count; ++i) {
        mValues.push_back(Retained(values[i]));
    }
}

CFArray::~CFArray() {
    RemoveAll();
}

const void* CFArray::Retained(const void* value) const {
    return mCallBacks.retain == nullptr ? value : mCallBacks.retain(mAllocator, value);
}

void CFArray::LetGo(const void* value) const {
    if (mCallBacks.release != nullptr) {
        mCallBacks.release(mAllocator, value);
    }
}

void CFArray::Insert(std::size_t index, const void* value) {
    if (mValues.size() == mValues.capacity()) {
        mValues.reserve(std::max<std::size_t>(4, 2 * mValues.size()));
    }
    const void* retained = Retained(value);
    mValues.insert(mValues.begin() + static_cast<std::ptrdiff_t>(index), retained);
}

void CFArray::Replace(std::size_t index, const void* value) {
    const void* retained = Retained(value);
    LetGo(std::exchange(mValues[index], retained));
}

void CFArray::Remove(std::size_t index) {
    const void* value = mValues[index];
    mValues.erase(mValues.begin() + static_cast<std::ptrdiff_t>(index));
    LetGo(value);
}

void CFArray::RemoveAll() {
    // Taken out first, so that a release callback finds the array empty.
    const std::vector<const void*> values = std::exchange(mValues, {});
    for (const void* value : values) {
        LetGo(value);
    }
}

bool CFArray::AreEqual(const void* first, const void* second) const {
    return first == second || (mCallBacks.equal != nullptr && mCallBacks.equal(first, second));
}

bool CFArray::Equals(const CFObject& other) const {
    const auto& array = static_cast<const CFArray&>(other);
    return array.mCallBacks.equal == mCallBacks.equal &&
           std::equal(
               mValues.begin(), mValues.end(), array.mValues.begin(), array.mValues.end(),
               [this](const void* first, const void* second) { return AreEqual(first, second); });
}

CFHashCode CFArray::Hash() const {
    CFHashCode hash = HashMix(mValues.size());
    // Under another notion of equality than that of objects, only the count is sure to be the same.
    if (mCallBacks.equal == CFEqual) {
        for (const void* value : mValues) {
            hash = HashMix(hash ^ CFHash(value));
        }
    }
    return hash;
}

std::string CFArray::Describe() const {
    std::vector<std::string> items;
    items.reserve(mValues.size());
    for (const void* value : mValues) {
        items.push_back(DescribeValue(mCallBacks.copyDescription, value));
    }
    return DescribeList('[', items, ']');
}

} // namespace qel::platform
