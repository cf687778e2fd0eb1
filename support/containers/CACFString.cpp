#include "support/containers/CACFString.h"

namespace qel::core {

CACFString::CACFString(const char* text, bool release)
    : CACFReference(text != nullptr ? CFStringCreateWithCString(kCFAllocatorDefault, text,
                                                                kCFStringEncodingASCII)
                                    : nullptr,
                    release) {}

} // namespace qel::core
