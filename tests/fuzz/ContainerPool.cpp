// The pool of immutable objects, and what holds between any two of them.

#include "tests/fuzz/ContainerModels.h"
#include "tests/fuzz/ContainerObjects.h"
#include "tests/fuzz/ContainerTokens.h"
#include "tests/fuzz/Require.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>

namespace qel::fuzz {
namespace {

constexpr std::size_t kMostObjects = 16;
constexpr unsigned kHeaviest = 100;

int Sign(auto first, auto second) {
    return first < second ? -1 : (second < first ? 1 : 0);
}

std::u16string InLowerCase(std::u16string units) {
    for (char16_t& unit : units) {
        unit = unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 32) : unit;
    }
    return units;
}

void CheckStrings(CFStringRef first, CFStringRef second) {
    const std::u16string one = UnitsOf(first);
    const std::u16string other = UnitsOf(second);
    Require(CFStringCompare(first, second, 0) == Sign(one, other), "strings go by their units");
    Require(CFStringCompare(first, second, kCFCompareCaseInsensitive) ==
                Sign(InLowerCase(one), InLowerCase(other)),
            "without case A to Z count as a to z");
    Require(CFStringHasPrefix(first, second) == one.starts_with(other), "a prefix begins a string");
    Require(CFEqual(first, second) == (one == other), "strings of equal units are equal");
}

void CheckNumbers(CFNumberRef first, CFNumberRef second) {
    const long double one = ValueOf(first);
    const long double other = ValueOf(second);
    const bool areValues = !std::isnan(one) && !std::isnan(other);
    const int order = areValues ? Sign(one, other) : Sign(!std::isnan(one), !std::isnan(other));
    Require(CFNumberCompare(first, second, nullptr) == order, "numbers go by their exact values");
    Require(CFEqual(first, second) == (order == 0), "numbers of equal value are equal");
}

void CheckDataContents(CFDataRef first, CFDataRef second) {
    const UInt8* one = CFDataGetBytePtr(first);
    const UInt8* other = CFDataGetBytePtr(second);
    Require(CFEqual(first, second) == std::equal(one, one + CFDataGetLength(first), other,
                                                 other + CFDataGetLength(second)),
            "data of equal bytes is equal");
}

void CheckPair(CFTypeRef first, CFTypeRef second) {
    const bool areEqual = CFEqual(first, second);
    Require(CFEqual(second, first) == areEqual, "equality goes both ways");
    Require(!areEqual || CFHash(first) == CFHash(second), "equal objects have equal hashes");
    const CFTypeID type = CFGetTypeID(first);
    Require(!areEqual || CFGetTypeID(second) == type, "equal objects have one type");
    if (CFGetTypeID(second) != type) {
        return;
    }
    if (type == CFStringGetTypeID()) {
        CheckStrings(static_cast<CFStringRef>(first), static_cast<CFStringRef>(second));
    } else if (type == CFNumberGetTypeID()) {
        CheckNumbers(static_cast<CFNumberRef>(first), static_cast<CFNumberRef>(second));
    } else if (type == CFDataGetTypeID()) {
        CheckDataContents(static_cast<CFDataRef>(first), static_cast<CFDataRef>(second));
    }
}

void CheckOne(CFTypeRef object) {
    Require(CFEqual(object, object), "an object equals itself");
    Require(!CFEqual(object, nullptr) && !CFEqual(nullptr, object), "nothing equals only itself");
    const CFIndex owners = CFGetRetainCount(object);
    Require(CFRetain(object) == object && CFGetRetainCount(object) >= owners, "a retain counts");
    CFRelease(object);
    Require(CFGetRetainCount(object) == owners && owners > 0, "a release undoes a retain");
    const CFStringRef description = CFCopyDescription(object);
    const CFStringRef again = CFCopyDescription(object);
    Require(description != nullptr && CFEqual(description, again), "a description stays the same");
    CFRelease(again);
    CFRelease(description);
    const CFStringRef name = CFCopyTypeIDDescription(CFGetTypeID(object));
    Require(name != nullptr, "a type has a name");
    CFRelease(name);
    CheckOtherTypes(object);
}

} // namespace

ObjectPool::ObjectPool() {
    for (const CFTypeRef constant :
         {CFTypeRef{kCFNull}, CFTypeRef{kCFBooleanTrue}, CFTypeRef{kCFBooleanFalse},
          CFTypeRef{kCFNumberNaN}, CFTypeRef{CFSTR("constant")}}) {
        mItems.push_back({CFRetain(constant), 1});
    }
}

ObjectPool::~ObjectPool() {
    for (const Item& item : mItems) {
        CFRelease(item.value);
    }
}

void ObjectPool::Adopt(Item item, ByteProgram& program) {
    if (item.value == nullptr) {
        return;
    }
    if (item.weight > kHeaviest) {
        CFRelease(item.value);
        return;
    }
    for (const Item& other : mItems) {
        CheckPair(item.value, other.value);
    }
    if (mItems.size() < kMostObjects) {
        mItems.push_back(item);
    } else {
        CFRelease(std::exchange(mItems[program.Below(kMostObjects)], item).value);
    }
}

Item ObjectPool::Any(ByteProgram& program) const {
    return mItems[program.Below(static_cast<std::uint32_t>(mItems.size()))];
}

Item ObjectPool::Any(Kind kind, ByteProgram& program) const {
    switch (kind) {
    case Kind::Objects:
        return Any(program);
    case Kind::Tokens:
        return {Token(program.Byte()), 1};
    case Kind::Pointers:
        break;
    }
    const std::uintptr_t address = program.Seldom(4) ? program.Quad() : program.Below(16);
    return {std::bit_cast<const void*>(address), 1};
}

void ObjectPool::Check() const {
    for (const Item& item : mItems) {
        CheckOne(item.value);
    }
}

} // namespace qel::fuzz
