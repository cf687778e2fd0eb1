#include "platform/containers/CFData.h"

#include "platform/containers/HashMix.h"
#include "platform/containers/IndexRange.h"

#include <cstring>

namespace qel::platform {

bool CFData::Equals(const CFObject& other) const {
    return static_cast<const CFData&>(other).mBytes == mBytes;
}

CFHashCode CFData::Hash() const {
    return HashBytes(mBytes);
}

std::string CFData::Describe() const {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text = "<";
    for (const char byte : mBytes) {
        const auto value = static_cast<unsigned char>(byte);
        text += kDigits[value / 16];
        text += kDigits[value % 16];
    }
    return text + '>';
}

} // namespace qel::platform

using qel::platform::CastTo;
using qel::platform::CFData;

CFTypeID CFDataGetTypeID(void) {
    return TypeID(CFData::kType);
}

CFDataRef CFDataCreate(CFAllocatorRef, const UInt8* bytes, CFIndex count) {
    if (count < 0 || (bytes == nullptr && count > 0)) {
        return nullptr;
    }
    return qel::platform::NullWithoutMemory([bytes, count] {
        std::string copy;
        if (count > 0) {
            copy.assign(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(count));
        }
        return qel::platform::Reference<CFDataRef>(new CFData(std::move(copy)));
    });
}

CFIndex CFDataGetLength(CFDataRef data) {
    const auto* object = CastTo<CFData>(data);
    return object == nullptr ? 0 : static_cast<CFIndex>(object->Bytes().size());
}

const UInt8* CFDataGetBytePtr(CFDataRef data) {
    const auto* object = CastTo<CFData>(data);
    return object == nullptr ? nullptr : reinterpret_cast<const UInt8*>(object->Bytes().c_str());
}

void CFDataGetBytes(CFDataRef data, CFRange range, UInt8* buffer) {
    const auto* object = CastTo<CFData>(data);
    if (object == nullptr || buffer == nullptr || range.length == 0 ||
        !qel::platform::LiesWithin(range, CFDataGetLength(data))) {
        return;
    }
    std::memcpy(buffer, object->Bytes().data() + range.location,
                static_cast<std::size_t>(range.length));
}
