#include "platform/containers/ConstantStrings.h"

#include <memory>
#include <mutex>

namespace qel::platform {

ConstantStrings& ConstantStrings::Shared() {
    static ConstantStrings& table = *new ConstantStrings;
    return table;
}

const CFString* ConstantStrings::Find(std::string_view content) {
    {
        const std::shared_lock lock(mMutex);
        const auto found = mStrings.find(content);
        if (found != mStrings.end()) {
            return found->second;
        }
    }
    std::unique_ptr<const CFString> made =
        CFString::Create(content, kCFStringEncodingUTF8, Lifetime::kImmortal);
    if (made == nullptr) {
        return nullptr;
    }
    const std::unique_lock lock(mMutex);
    // Another thread may have been faster: then its string stays.
    const auto [place, isNew] = mStrings.try_emplace(made->UTF8(), made.get());
    return isNew ? made.release() : place->second;
}

} // namespace qel::platform
