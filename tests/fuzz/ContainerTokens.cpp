#include "tests/fuzz/ContainerTokens.h"

#include "tests/fuzz/Require.h"

#include <algorithm>

namespace qel::fuzz {
namespace {

constexpr std::uint32_t kTokens = 32;
int gHeld[kTokens]; // the owners of each

std::size_t NumberOf(const void* token) {
    return static_cast<std::size_t>(static_cast<const int*>(token) - gHeld);
}

const void* Retain(CFAllocatorRef, const void* token) {
    ++gHeld[NumberOf(token)];
    return token;
}

void Release(CFAllocatorRef, const void* token) {
    Require(--gHeld[NumberOf(token)] >= 0, "nothing is released that was not retained");
}

// Every third has nothing to say.
CFStringRef CopyDescription(const void* token) {
    return NumberOf(token) % 3 == 0
               ? nullptr
               : CFStringCreateWithCString(nullptr, "token\n", kCFStringEncodingASCII);
}

Boolean Equal(const void* first, const void* second) {
    return NumberOf(first) / 2 == NumberOf(second) / 2;
}

// Coarse, so that unequal tokens meet in a hash table.
CFHashCode Hash(const void* token) {
    return NumberOf(token) / 8;
}

constexpr CFArrayCallBacks kArray = {0, Retain, Release, CopyDescription, Equal};
constexpr CFDictionaryKeyCallBacks kKeys = {0, Retain, Release, CopyDescription, Equal, Hash};
constexpr CFDictionaryValueCallBacks kValues = {0, Retain, Release, CopyDescription, Equal};

// The first for objects, the second for tokens, none for pointers.
template <typename CallBacks>
const CallBacks* OfKind(Kind kind, const CallBacks& objects, const CallBacks& tokens) {
    return kind == Kind::Objects ? &objects : (kind == Kind::Tokens ? &tokens : nullptr);
}

} // namespace

const void* Token(std::uint32_t number) {
    return &gHeld[number % kTokens];
}

bool NoTokenIsHeld() {
    return std::all_of(std::begin(gHeld), std::end(gHeld), [](int owners) { return owners == 0; });
}

const CFArrayCallBacks* ArrayCallBacksOf(Kind kind) {
    return OfKind(kind, kCFTypeArrayCallBacks, kArray);
}

const CFDictionaryKeyCallBacks* KeyCallBacksOf(Kind kind) {
    return OfKind(kind, kCFTypeDictionaryKeyCallBacks, kKeys);
}

const CFDictionaryValueCallBacks* ValueCallBacksOf(Kind kind) {
    return OfKind(kind, kCFTypeDictionaryValueCallBacks, kValues);
}

bool AreEqual(Kind kind, const void* first, const void* second) {
    switch (kind) {
    case Kind::Objects:
        return CFEqual(first, second);
    case Kind::Tokens:
        return Equal(first, second);
    case Kind::Pointers:
        break;
    }
    return first == second;
}

} // namespace qel::fuzz
