#include "platform/containers/CFUUID.h"

#include "platform/containers/CFString.h"
#include "platform/containers/HashMix.h"

#include <bit>

namespace qel::platform {

bool CFUUID::Equals(const CFObject& other) const {
    return static_cast<const CFUUID&>(other).mBytes == mBytes;
}

CFHashCode CFUUID::Hash() const {
    return HashBytes({reinterpret_cast<const char*>(mBytes.data()), mBytes.size()});
}

std::string CFUUID::Describe() const {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    for (std::size_t i = 0; i < mBytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) {
            text += '-';
        }
        text += kDigits[mBytes[i] / 16];
        text += kDigits[mBytes[i] % 16];
    }
    return text;
}

} // namespace qel::platform

using qel::platform::CastTo;
using qel::platform::CFUUID;

CFTypeID CFUUIDGetTypeID(void) {
    return TypeID(CFUUID::kType);
}

CFUUIDRef CFUUIDCreateFromUUIDBytes(CFAllocatorRef, CFUUIDBytes bytes) {
    return qel::platform::NullWithoutMemory([&bytes] {
        return qel::platform::Reference<CFUUIDRef>(new CFUUID(std::bit_cast<CFUUID::Bytes>(bytes)));
    });
}

CFUUIDBytes CFUUIDGetUUIDBytes(CFUUIDRef uuid) {
    const auto* object = CastTo<CFUUID>(uuid);
    return object == nullptr ? CFUUIDBytes{} : std::bit_cast<CFUUIDBytes>(object->Content());
}

CFStringRef CFUUIDCreateString(CFAllocatorRef, CFUUIDRef uuid) {
    const auto* object = CastTo<CFUUID>(uuid);
    if (object == nullptr) {
        return nullptr;
    }
    return qel::platform::NullWithoutMemory(
        [object] { return qel::platform::CFString::CopyText(object->Describe()); });
}
