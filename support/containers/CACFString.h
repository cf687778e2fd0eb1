#pragma once

#include "support/containers/CACFReference.h"

namespace qel::core {

// A CFString in a wrapper.
class CACFString : public CACFReference<CFStringRef> {
public:
    CACFString() = default;
    CACFString(CFStringRef string, bool release) : CACFReference(string, release) {}
    // Made from ASCII text; no object if the text is null or not ASCII.
    explicit CACFString(const char* text, bool release = true);

    // Takes the string over together with its reference, to be released later: unlike the
    // containers, a string is not retained by assignment.
    CACFString& operator=(CFStringRef string) {
        TakeOver(string);
        return *this;
    }

    CFStringRef GetCFString() const { return Object(); }
};

} // namespace qel::core
