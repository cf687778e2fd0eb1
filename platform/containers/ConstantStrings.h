#pragma once

#include "platform/containers/CFString.h"

#include <shared_mutex>
#include <string_view>
#include <unordered_map>

namespace qel::platform {

// The table of the constant strings of the process: one immortal string per content.
class ConstantStrings {
public:
    // The only table. It is never destroyed, so that constants stay valid while the process exits.
    static ConstantStrings& Shared();

    // The constant with this content, made at the first call; null if the content is not UTF-8.
    // Any thread.
    const CFString* Find(std::string_view content);

private:
    std::shared_mutex mMutex;
    // The keys are the contents of the strings themselves.
    std::unordered_map<std::string_view, const CFString*> mStrings;
};

} // namespace qel::platform
