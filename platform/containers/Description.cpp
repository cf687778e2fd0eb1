#include "platform/containers/Description.h"

#include "platform/containers/CFString.h"

#include <cstdint>
#include <cstdio>
#include <memory>
#include <new>
#include <type_traits>

namespace qel::platform {
namespace {

// The longest list that stays on one line, in bytes.
constexpr std::size_t kLineLength = 80;

std::string OnOneLine(const std::vector<std::string>& items) {
    std::string text;
    const char* separator = "";
    for (const std::string& item : items) {
        text += separator;
        text += item;
        separator = ", ";
    }
    return text;
}

struct ReleaseDescription {
    void operator()(CFStringRef description) const { CFRelease(description); }
};

using DescriptionOwner = std::unique_ptr<std::remove_pointer_t<CFStringRef>, ReleaseDescription>;

void AppendIndented(std::string& text, const std::string& item) {
    text += "    ";
    for (const char byte : item) {
        text += byte;
        if (byte == '\n') {
            text += "    ";
        }
    }
}

} // namespace

std::string DescribeValue(CFStringRef (*copyDescription)(const void* value), const void* value) {
    if (copyDescription == nullptr) {
        // "0x" and two digits per byte.
        char address[2 + 2 * sizeof value + 1];
        std::snprintf(address, sizeof address, "0x%llx",
                      static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(value)));
        return address;
    }
    const DescriptionOwner description(copyDescription(value));
    // A client's function may have nothing to say; ours has nothing only when memory runs out.
    if (description == nullptr && value != nullptr && copyDescription == CFCopyDescription) {
        throw std::bad_alloc();
    }
    const auto* string = CastTo<CFString>(description.get());
    return string == nullptr ? "null" : string->UTF8();
}

std::string DescribeList(char open, const std::vector<std::string>& items, char close) {
    const std::string line = OnOneLine(items);
    if (line.size() <= kLineLength && line.find('\n') == std::string::npos) {
        return open + line + close;
    }
    std::string text(1, open);
    const char* separator = "\n";
    for (const std::string& item : items) {
        text += separator;
        AppendIndented(text, item);
        separator = ",\n";
    }
    return text + '\n' + close;
}

} // namespace qel::platform
